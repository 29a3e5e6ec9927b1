#include "FileServiceTest.h"

#include <cerrno>

namespace connector::file::v1::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

using RenameAndMove = FileServiceTest;

TEST_F(RenameAndMove, MoveMakesACopyAlsoWithinOneFileSystem) {
  std::filesystem::create_hard_link(writeFile("file", "1"), at("twin"));
  makeFolder("box");
  EXPECT_EQ(service->move(textAt("file"), textAt("box")).get().getLocation(), textAt("box/file"));
  EXPECT_THAT(disk(), ElementsAre(Pair("box", "/"), Pair("box/file", "1"), Pair("twin", "1")));
  EXPECT_EQ(std::filesystem::hard_link_count(at("box/file")), 1);
}

TEST_F(RenameAndMove, MoveTakesALinkForWhatItLeadsTo) {
  writeFile("file", "1");
  writeFile("tree/inner", "2");
  makeFolder("box");
  std::filesystem::create_symlink("file", at("toFile"));
  std::filesystem::create_symlink("tree", at("toTree"));
  std::filesystem::create_symlink("box", at("toBox"));
  EXPECT_EQ(outcomeOf([this] { return service->move(textAt("toFile"), textAt("toBox")); }), "ok");
  EXPECT_EQ(outcomeOf([this] { return service->move(textAt("toTree"), textAt("toBox")); }), "ok");
  EXPECT_THAT(disk(), ElementsAre(Pair("box", "/"), Pair("box/toFile", "1"),
                                  Pair("box/toTree", "/"), Pair("box/toTree/inner", "2"),
                                  Pair("file", "1"), Pair("toBox", "-> box"), Pair("tree", "/")));
}

TEST_F(RenameAndMove, MoveOfAFolderGoesThroughTheVirtualOperation) {
  writeFile("tree/sub/inner", "1");
  makeFolder("box");
  RecordingService recording;
  inFolder([&] {
    EXPECT_TRUE(recording.move(u"tree", u"box").get().isDirectory());
    EXPECT_THAT(recording.calls,
                ElementsAre(u"move tree box", u"move " + root + u"tree/sub " + root + u"box/tree",
                            u"move " + root + u"tree/sub/inner " + root + u"box/tree/sub"));
  });
}

TEST_F(RenameAndMove, MoveLeavesHiddenEntriesAndThoseOfOneCharacterBehind) {
  writeFile("tree/.hidden", "1");
  writeFile("tree/\u00E9", "2");
  writeFile("tree/\U0001F600", "3"); // two code units
  writeFile("tree/caf\xE9", "4");
  makeFolder("box");
  EXPECT_EQ(outcomeOf([this] { return service->move(textAt("tree"), textAt("box")); }),
            std::to_string(ENOTEMPTY));
  EXPECT_THAT(disk(),
              ElementsAre(Pair("box", "/"), Pair("box/tree", "/"), Pair("box/tree/caf\xE9", "4"),
                          Pair("box/tree/\U0001F600", "3"), Pair("tree", "/"),
                          Pair("tree/.hidden", "1"), Pair("tree/\u00E9", "2")));
}

TEST_F(RenameAndMove, AnEntrysFailureEndsTheMoveAndIsPassedOnAsItIs) {
  writeFile("tree/sub/bad", "1");
  makeFolder("box");
  RecordingService recording;
  recording.failing = textAt("tree/sub/bad");
  const Future<FileInfo> failed = recording.move(textAt("tree"), textAt("box"));
  EXPECT_EQ(failed.state(), recording.failure.getFuture().state());
  EXPECT_THAT(disk(),
              ElementsAre(Pair("box", "/"), Pair("box/tree", "/"), Pair("box/tree/sub", "/"),
                          Pair("tree", "/"), Pair("tree/sub", "/"), Pair("tree/sub/bad", "1")));
}

TEST_F(RenameAndMove, AFolderNeverGoesIntoItself) {
  writeFile("tree/sub/inner", "1");
  writeFile("tree/aa", "2");
  makeFolder("tree2");
  makeFolder("loose");
  std::filesystem::create_symlink("tree", at("link"));
  std::filesystem::create_symlink("../tree/sub", at("loose/deep"));
  const std::vector<std::pair<const char*, const char*>> moves = {
      {"tree", "tree"}, {"tree", "loose/deep"}, {"link", "tree/sub"}, {"tree/", "tree2/../tree"}};
  const auto before = disk();
  for (const auto& [from, to] : moves) {
    EXPECT_EQ(outcomeOf([&, f = from, t = to] { return service->move(textAt(f), textAt(t)); }),
              std::to_string(EINVAL))
        << from << " into " << to;
    EXPECT_EQ(disk(), before);
  }
  EXPECT_EQ(outcomeOf([this] { return service->move(textAt("tree2"), textAt("tree")); }), "ok");
}

} // namespace
} // namespace connector::file::v1::test
