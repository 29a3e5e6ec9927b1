#include "FileServiceTest.h"
#include "support/Unprivileged.h"

#include <array>
#include <fcntl.h>

namespace connector::file::v1::test {
namespace {

using connector::test::asUnprivilegedUser;
using testing::ElementsAre;

using ReadAndWrite = FileServiceTest;

/// The attributes in one line.
std::string attributesOf(const FileInfo& info) {
  std::ostringstream text;
  text << (info.isDirectory() ? "folder" : "file")
       << (attribute<bool>(info, FileAttributes::CAN_WRITE) ? " writable" : "")
       << (attribute<bool>(info, FileAttributes::DELETED) ? " deleted " : " ")
       << attribute<std::uint64_t>(info, FileAttributes::SIZE) << " at "
       << attribute<std::int64_t>(info, FileAttributes::MODIFIED);
  return text.str();
}

TEST_F(ReadAndWrite, AFileIsDescribedAsItIs) {
  const std::vector<std::tuple<const char*, mode_t, timespec, const char*>> cases = {
      {"readonly", 0444, {1'700'000'000, 999'999'999}, "file 3 at 1700000000"},
      {"old", 0666, {-2, 500'000'000}, "file writable 3 at -1"}, // 1.5 seconds before 1970
      {"sealed", 0555, {5, 0}, "folder [0-9]+ at 5"}};
  writeFile("readonly", "abc");
  writeFile("old", "abc");
  makeFolder("sealed");
  for (const auto& [name, mode, modified, expected] : cases) {
    const std::array<timespec, 2> times = {{{0, UTIME_OMIT}, modified}};
    ASSERT_EQ(::utimensat(AT_FDCWD, at(name).c_str(), times.data(), 0), 0);
    ASSERT_EQ(::chmod(at(name).c_str(), mode), 0);
  }
  asUnprivilegedUser([&] {
    for (const auto& [name, mode, modified, expected] : cases) {
      EXPECT_THAT(attributesOf(service->info(textAt(name)).get()), testing::MatchesRegex(expected));
    }
    EXPECT_EQ(attributesOf(service->close(textAt("gone")).get()), "file deleted 0 at 0");
  });
}

TEST_F(ReadAndWrite, WhatComesCountsAndNotTheSizeThatWasPromised) {
  const std::filesystem::path promises4096 = "/sys/class/net/lo/address";
  if (!std::filesystem::exists(promises4096)) {
    GTEST_SKIP() << "no file here that is shorter than its size";
  }
  EXPECT_EQ(service->read(promises4096.u16string()).get().getContents().view(),
            "00:00:00:00:00:00\n");
}

TEST_F(ReadAndWrite, NestedCallsGoThroughTheVirtualOperations) {
  RecordingService recording;
  inFolder([&] {
    EXPECT_EQ(outcomeOf([&] { return recording.create(fileAt(u"a/b/c.txt", "1"), true); }), "ok");
    EXPECT_EQ(outcomeOf([&] { return recording.close(fileAt(u"a/b/c.txt", "2")); }), "ok");
    EXPECT_EQ(outcomeOf([&] { return recording.open(u"a/b/c.txt"); }), "ok");
    EXPECT_EQ(outcomeOf([&] { return recording.openOrCreate(u"a/b/c.txt"); }), "ok");
    EXPECT_EQ(outcomeOf([&] { return recording.openOrCreate(u"new"); }), "ok");
    EXPECT_THAT(recording.calls,
                ElementsAre(u"create file a/b/c.txt over", u"create folder " + root + u"a/b",
                            u"create folder " + root + u"a", u"update a/b/c.txt", u"read a/b/c.txt",
                            u"read a/b/c.txt", u"read new"));
  });
}

TEST_F(ReadAndWrite, AParentsFailureIsPassedOnAsItIs) {
  RecordingService recording;
  recording.failing = textAt("a/b");
  const Future<FileInfo> failed = recording.create(fileAt(textAt("a/b/c/d"), "1"), false);
  EXPECT_EQ(failed.state(), recording.failure.getFuture().state());
  EXPECT_TRUE(std::filesystem::is_empty(folder()));
}

} // namespace
} // namespace connector::file::v1::test
