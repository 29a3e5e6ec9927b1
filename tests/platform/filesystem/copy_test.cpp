#include "Failure.h"
#include "support/OpenDescriptors.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace fl::filesystem::test {
namespace {

using connector::test::asUnprivilegedUser;
using connector::test::onTmpfs;
using connector::test::openDescriptors;

using stat_buffer = struct stat;

class Copy : public connector::test::ScratchFolder {
protected:
  static void copyFile(const std::u16string& from, const std::u16string& to) {
    copy(from, to, copy_option::fail_if_exists);
  }

  void expectRefusal(const std::u16string& from, const std::u16string& to,
                     const Failure& expected) {
    const auto before = disk();
    const auto descriptors = openDescriptors();
    EXPECT_EQ(failureOf([&] { copyFile(from, to); }), expected);
    EXPECT_EQ(disk(), before);
    EXPECT_EQ(openDescriptors(), descriptors);
  }

  static stat_buffer statOf(const std::filesystem::path& file) {
    stat_buffer found{};

    EXPECT_EQ(::stat(file.c_str(), &found), 0);
    return found;
  }
};

TEST_F(Copy, KeepsBytesPermissionsAndModificationTime) {
  const std::string contents(300'000, 'x');
  writeFile("source", contents);
  std::filesystem::create_symlink("source", at("link"));
  const std::array<timespec, 2> times{timespec{5, 0}, timespec{1'000'000'000, 123'456'789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, at("source").c_str(), times.data(), 0), 0);
  ASSERT_EQ(::chmod(at("source").c_str(), 0471), 0);
  const auto descriptors = openDescriptors();

  copyFile(textAt("link"), textAt("target"));

  const stat_buffer target = statOf(at("target"));
  EXPECT_EQ(target.st_mode & 07777U, 0471U);
  EXPECT_EQ(target.st_mtim.tv_sec, 1'000'000'000);
  EXPECT_EQ(target.st_mtim.tv_nsec, 123'456'789);
  EXPECT_EQ(readFile("target"), contents);
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(Copy, LendsSetUserIdToNoOtherOwner) {
  writeFile("source");
  ASSERT_EQ(::chmod(at("source").c_str(), 06755), 0);
  ASSERT_EQ(::chmod(makeFolder("open").c_str(), 0777), 0);
  copyFile(textAt("source"), textAt("own"));
  EXPECT_EQ(statOf(at("own")).st_mode & 07777U, 06755U);
  asUnprivilegedUser([&] {
    copyFile(textAt("source"), textAt("open/target"));
    const stat_buffer target = statOf(at("open/target"));
    const bool sameOwner = target.st_uid == statOf(at("source")).st_uid;
    EXPECT_EQ(target.st_mode & 07777U, sameOwner ? 06755U : 0755U);
  });
}

TEST_F(Copy, TakesOnlyANewTarget) {
  writeFile("source", "new");
  writeFile("file", "old");
  makeFolder("folder");
  std::filesystem::create_symlink("nowhere", at("dangling"));
  for (const char* target : {"source", "file", "folder", "dangling"}) {
    expectRefusal(textAt("source"), textAt(target),
                  failure<FileExistsError>(EEXIST, textAt(target)));
  }
}

TEST_F(Copy, NamesThePathThatTheFailureIsAbout) {
  writeFile("source", "bytes");
  makeFolder("folder");
  ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
  const std::u16string target = textAt("target");
  expectRefusal(textAt("nothing"), target, failure<PathNotFound>(ENOENT, textAt("nothing")));
  expectRefusal(textAt("folder"), target, failure<SystemError>(EISDIR, textAt("folder")));
  expectRefusal(textAt("fifo"), target, failure<SystemError>(EOPNOTSUPP, textAt("fifo")));
  expectRefusal(u"/dev/null", target, failure<SystemError>(EOPNOTSUPP, u"/dev/null"));
  expectRefusal(textAt("source"), textAt("no/target"),
                failure<PathNotFound>(ENOENT, textAt("no/target")));
}

TEST_F(Copy, NeedsReadPermissionAtTheSourceAndWritePermissionAtTheTarget) {
  writeFile("source", "bytes");
  writeFile("secret", "bytes");
  ASSERT_EQ(::chmod(makeFolder("open").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(makeFolder("sealed").c_str(), 0555), 0);
  ASSERT_EQ(::chmod(at("secret").c_str(), 0), 0);
  asUnprivilegedUser([&] {
    EXPECT_EQ(failureOf([&] { copyFile(textAt("secret"), textAt("open/target")); }),
              failure<AccessDenied>(EACCES, textAt("secret")));
    EXPECT_EQ(failureOf([&] { copyFile(textAt("source"), textAt("sealed/target")); }),
              failure<AccessDenied>(EACCES, textAt("sealed/target")));
    EXPECT_TRUE(std::filesystem::is_empty(at("open")));
    EXPECT_TRUE(std::filesystem::is_empty(at("sealed")));
  });
}

TEST_F(Copy, ReachesAcrossFileSystemsAndReadsFilesOfUnknownSize) {
  onTmpfs(makeFolder("mounted"), "size=1m", [this] {
    const std::string contents(100'000, 'y');
    writeFile("source", contents);
    copyFile(textAt("source"), textAt("mounted/target"));
    EXPECT_EQ(readFile("mounted/target"), contents);
    copyFile(textAt("mounted/target"), textAt("back"));
    EXPECT_EQ(readFile("back"), contents);
  });
  copyFile(u"/proc/version", textAt("version"));
  std::ifstream version("/proc/version");
  EXPECT_EQ(readFile("version"), std::string(std::istreambuf_iterator<char>(version), {}));
}

TEST_F(Copy, TakesItsPartialTargetAwayWhenTheDiskIsFull) {
  onTmpfs(makeFolder("mounted"), "size=256k", [this] {
    writeFile("outside", std::string(1'000'000, 'x'));
    expectRefusal(textAt("outside"), textAt("mounted/target"),
                  failure<SystemError>(ENOSPC, textAt("mounted/target")));
    writeFile("mounted/source", std::string(200'000, 'x'));
    expectRefusal(textAt("mounted/source"), textAt("mounted/target"),
                  failure<SystemError>(ENOSPC, textAt("mounted/target")));
  });
}

} // namespace
} // namespace fl::filesystem::test
