#include "FileServiceTest.h"
#include "support/Unprivileged.h"

#include <array>
#include <cerrno>
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
       << (attribute<bool>(info, FileAttributes::IS_SHARED) ? " shared" : "")
       << (attribute<bool>(info, FileAttributes::CAN_WRITE) ? " writable" : "")
       << (attribute<bool>(info, FileAttributes::DELETED) ? " deleted " : " ")
       << attribute<std::uint64_t>(info, FileAttributes::SIZE) << " at "
       << attribute<std::int64_t>(info, FileAttributes::MODIFIED);
  return text.str();
}

TEST_F(ReadAndWrite, AFileIsDescribedAsItIs) {
  const std::vector<std::tuple<const char*, mode_t, timespec, const char*>> cases = {
      {"file", 0666, {1, 900'000'000}, "file writable 3 at 1"},
      {"readonly", 0444, {1'700'000'000, 999'999'999}, "file 3 at 1700000000"},
      {"old", 0666, {-2, 500'000'000}, "file writable 3 at -1"}, // 1.5 seconds before 1970
      {"older", 0666, {-1'000'000'000, 0}, "file writable 3 at -1000000000"},
      {"sealed", 0555, {5, 0}, "folder [0-9]+ at 5"},
      {"open", 0777, {5, 0}, "folder writable [0-9]+ at 5"}};
  for (const auto& [name, mode, modified, expected] : cases) {
    const auto path = std::string_view(expected).substr(0, 6) == "folder" ? makeFolder(name)
                                                                          : writeFile(name, "abc");
    const std::array<timespec, 2> times = {{{0, UTIME_OMIT}, modified}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
  }
  std::filesystem::create_symlink("readonly", at("link"));
  asUnprivilegedUser([&] {
    for (const auto& [name, mode, modified, expected] : cases)
      EXPECT_THAT(attributesOf(service->info(textAt(name)).get()), testing::MatchesRegex(expected));
    EXPECT_EQ(attributesOf(service->open(textAt("link")).get().getFileInfo()),
              "file 3 at 1700000000");
    EXPECT_EQ(attributesOf(service->close(textAt("gone")).get()), "file deleted 0 at 0");
  });
}

TEST_F(ReadAndWrite, ReadsEveryByteUpToTheLimit) {
  using namespace std::string_view_literals;
  writeFile("empty");
  writeFile("bytes", std::string("\0a\r\n\xFF\0"sv));
  std::filesystem::resize_file(writeFile("largest", "x"), 19'999'999);
  const File empty = service->read(textAt("empty")).get();
  EXPECT_EQ(empty.getContents().view(), "");
  EXPECT_NE(empty.getContents().data(), nullptr); // a block also for no bytes
  EXPECT_EQ(service->read(textAt("bytes")).get().getContents().view(), "\0a\r\n\xFF\0"sv);
  const File largest = service->read(textAt("largest")).get();
  EXPECT_EQ(largest.getContents().size(), 19'999'999);
  EXPECT_EQ(largest.getContents().view().find_last_not_of('\0'), 0);
  EXPECT_EQ(attribute<std::uint64_t>(largest.getFileInfo(), FileAttributes::SIZE), 19'999'999);
}

// The kernel gives these files 4096 bytes, and one of them refuses to be read.
TEST_F(ReadAndWrite, WhatComesCountsAndNotTheSizeThatWasPromised) {
  char byte = 0;
  const int speed = ::open("/sys/class/net/lo/speed", O_RDONLY | O_CLOEXEC);
  const bool refuses = speed >= 0 && ::read(speed, &byte, 1) < 0 && errno == EINVAL;
  ::close(speed);
  if (!refuses)
    GTEST_SKIP() << "no file here that can be opened and not read";
  EXPECT_EQ(outcomeOf([this] { return service->read(u"/sys/class/net/lo/speed"); }),
            std::to_string(EINVAL));
  EXPECT_EQ(service->read(u"/sys/class/net/lo/address").get().getContents().view(),
            "00:00:00:00:00:00\n");
}

TEST_F(ReadAndWrite, CreatesWritesOverAndUpdates) {
  using namespace std::string_literals;
  writeFile("over", "a longer text");
  writeFile("updated", "a longer text");
  writeFile("closed", "a longer text");
  writeFile("opened", "kept");
  const auto expectNow = [](const FileInfo& info, const ustring& path, std::uint64_t size) {
    EXPECT_EQ(info.getLocation(), path);
    EXPECT_EQ(attribute<std::uint64_t>(info, FileAttributes::SIZE), size);
    EXPECT_FALSE(attribute<bool>(info, FileAttributes::DELETED));
  };
  expectNow(service->create(fileAt(textAt("new"), "\0\n"s), false).get(), textAt("new"), 2);
  expectNow(service->create(fileAt(textAt("over"), "1"), true).get(), textAt("over"), 1);
  expectNow(service->create(fileAt(textAt("none")), false).get(), textAt("none"), 0);
  expectNow(service->update(fileAt(textAt("updated"), "12\n")).get(), textAt("updated"), 3);
  expectNow(service->close(fileAt(textAt("closed"))).get(), textAt("closed"), 0);
  EXPECT_EQ(service->openOrCreate(textAt("made")).get().getContents().size(), 0);
  EXPECT_EQ(service->openOrCreate(textAt("opened")).get().getContents().view(), "kept");
  const FileInfo made = service->create(folderAt(textAt("a/b/c")), false).get();
  EXPECT_TRUE(made.isDirectory());
  EXPECT_EQ(made.getLocation(), textAt("a/b/c"));
  const std::map<std::string, std::string> expected = {
      {"a", "/"},       {"a/b", "/"}, {"a/b/c", "/"},     {"closed", ""}, {"made", ""},
      {"new", "\0\n"s}, {"none", ""}, {"opened", "kept"}, {"over", "1"},  {"updated", "12\n"}};
  EXPECT_EQ(disk(), expected);
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
  EXPECT_EQ(failed.state(), recording.failure);
  EXPECT_TRUE(std::filesystem::is_empty(folder()));
}

TEST_F(ReadAndWrite, GetPtrIsAFurtherOwner) {
  EXPECT_EQ(service->getPtr(), service);
  FileServiceImpl unowned;
  EXPECT_THROW(unowned.getPtr(), std::bad_weak_ptr);
}

} // namespace
} // namespace connector::file::v1::test
