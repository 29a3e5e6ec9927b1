#include "FileServiceTest.h"
#include "support/Unprivileged.h"

#include <cerrno>

namespace connector::file::v1::test {
namespace {

using connector::test::asUnprivilegedUser;
using testing::ElementsAre;
using testing::Pair;

using RenameAndMove = FileServiceTest;

TEST_F(RenameAndMove, RenameMakesTheMissingFoldersAndKeepsTheFile) {
  writeFile("file", "1");
  writeFile("tree/.hidden", "2");
  writeFile("tree/x", "3");
  std::filesystem::create_symlink("file", at("link"));
  const std::string fileBefore = snapshot(at("file")).begin()->second;

  const FileInfo renamed = service->rename(textAt("file"), textAt("a/b/renamed")).get();
  EXPECT_EQ(renamed.getLocation(), textAt("a/b/renamed"));
  EXPECT_FALSE(attribute<bool>(renamed, FileAttributes::DELETED));
  EXPECT_EQ(snapshot(at("a/b/renamed")).begin()->second, fileBefore);
  EXPECT_TRUE(service->rename(textAt("tree"), textAt("c/tree")).get().isDirectory());
  EXPECT_THAT(disk(), ElementsAre(Pair("a", "/"), Pair("a/b", "/"), Pair("a/b/renamed", "1"),
                                  Pair("c", "/"), Pair("c/tree", "/"), Pair("c/tree/.hidden", "2"),
                                  Pair("c/tree/x", "3"), Pair("link", "-> file")));
}

TEST_F(RenameAndMove, MoveCopiesTheFileAndDeletesTheSource) {
  writeFile("file", "1");
  makeFolder("box");
  ASSERT_EQ(::chmod(at("file").c_str(), 0640), 0);

  struct stat source {};

  ASSERT_EQ(::stat(at("file").c_str(), &source), 0);
  const std::string before = snapshot(at("file")).begin()->second;

  EXPECT_EQ(service->move(textAt("file"), textAt("box")).get().getLocation(), textAt("box/file"));
  EXPECT_THAT(disk(), ElementsAre(Pair("box", "/"), Pair("box/file", "1")));
  EXPECT_EQ(snapshot(at("box/file")).begin()->second, before);

  struct stat copy {};

  ASSERT_EQ(::stat(at("box/file").c_str(), &copy), 0);
  EXPECT_NE(copy.st_ino, source.st_ino); // a copy also within one file system
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
  EXPECT_THAT(disk(), ElementsAre(Pair("box", "/"), Pair("box/tree", "/"),
                                  Pair("box/tree/sub", "/"), Pair("box/tree/sub/inner", "1")));
}

TEST_F(RenameAndMove, MoveLeavesHiddenEntriesAndThoseOfOneCharacterBehind) {
  writeFile("tree/.hidden", "1");
  writeFile("tree/x", "2");
  writeFile("tree/\u00E9", "3");
  writeFile("tree/\U0001F600", "4"); // two code units
  writeFile("tree/sub/xy", "5");
  makeFolder("box");
  EXPECT_EQ(outcomeOf([this] { return service->move(textAt("tree"), textAt("box")); }),
            std::to_string(ENOTEMPTY));
  EXPECT_THAT(disk(),
              ElementsAre(Pair("box", "/"), Pair("box/tree", "/"), Pair("box/tree/sub", "/"),
                          Pair("box/tree/sub/xy", "5"), Pair("box/tree/\U0001F600", "4"),
                          Pair("tree", "/"), Pair("tree/.hidden", "1"), Pair("tree/x", "2"),
                          Pair("tree/\u00E9", "3")));
}

TEST_F(RenameAndMove, AnEntrysFailureEndsTheMoveAndIsPassedOnAsItIs) {
  writeFile("tree/sub/bad", "1");
  makeFolder("box");
  RecordingService recording;
  recording.failing = textAt("tree/sub/bad");
  const Future<FileInfo> failed = recording.move(textAt("tree"), textAt("box"));
  EXPECT_EQ(failed.state(), recording.failure);
  EXPECT_THAT(disk(),
              ElementsAre(Pair("box", "/"), Pair("box/tree", "/"), Pair("box/tree/sub", "/"),
                          Pair("tree", "/"), Pair("tree/sub", "/"), Pair("tree/sub/bad", "1")));

  std::filesystem::rename(at("tree/sub/bad"), at("tree/sub/b\td"));
  const ustring child = textAt("tree/sub/b\td");
  EXPECT_EQ(refusalOf(service->move(textAt("tree/sub"), textAt("box"))),
            (Refusal{"FILE_NAME_NOT_SUPPORTED", child + u" is an invalid name.", {u"b\td"}}));
  EXPECT_EQ(readFile("tree/sub/b\td"), "1");
}

TEST_F(RenameAndMove, AFolderNeverGoesIntoItself) {
  writeFile("tree/sub/inner", "1");
  writeFile("tree/aa", "2");
  makeFolder("tree2");
  makeFolder("loose");
  std::filesystem::create_symlink("tree", at("link"));
  std::filesystem::create_symlink("../tree/sub", at("loose/deep"));
  const std::string invalid = std::to_string(EINVAL);
  const std::vector<std::pair<const char*, const char*>> moves = {
      {"tree", "tree"},       {"tree", "tree/sub"}, {"tree", "link"}, {"tree", "loose/deep"},
      {"tree", "link/sub/."}, {"link", "tree/sub"}, {"link", "tree"}, {"tree/", "tree2/../tree"}};
  for (const auto& [from, to] : moves) {
    SCOPED_TRACE(std::string(from) + " into " + to);
    endsUntouched([&, f = from, t = to] { return service->move(textAt(f), textAt(t)); }, invalid);
  }
  endsUntouched([this] { return service->rename(textAt("tree"), textAt("tree/sub/x")); }, invalid);
  EXPECT_EQ(outcomeOf([this] { return service->move(textAt("tree2"), textAt("tree")); }), "ok");
}

TEST_F(RenameAndMove, WhatThePlatformRefusesLosesNothing) {
  writeFile("sealed/file", "1");
  writeFile("file", "2");
  makeFolder("open");
  std::filesystem::create_symlink("nowhere", at("open/file"));
  ASSERT_EQ(::chmod(at("sealed").c_str(), 0555), 0);
  ASSERT_EQ(::chmod(at("sealed/file").c_str(), 0666), 0);
  ASSERT_EQ(::chmod(at("open").c_str(), 0777), 0);
  const std::string denied = std::to_string(EACCES);
  asUnprivilegedUser([&] {
    const ustring source = textAt("sealed/file");
    endsUntouched([&] { return service->rename(source, textAt("open/renamed")); }, denied);
    endsUntouched([&] { return service->move(textAt("file"), textAt("sealed")); }, "FILE_EXISTS");
    endsUntouched([&] { return service->move(source, textAt("open")); }, std::to_string(EEXIST));
    endsUntouched([&] { return service->move(textAt("open"), textAt("sealed")); }, denied);
    endsUntouched([&] { return service->move(textAt("open"), textAt("file")); },
                  std::to_string(ENOTDIR));
    std::filesystem::remove(at("open/file"));
    EXPECT_EQ(outcomeOf([&] { return service->move(source, textAt("open")); }), denied);
  });
  EXPECT_EQ(readFile("sealed/file"), "1"); // copied and not deleted: both are there
  EXPECT_EQ(readFile("open/file"), "1");
}

} // namespace
} // namespace connector::file::v1::test
