#include "Failure.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"
#include "throw_errno.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fl::filesystem::test {
namespace {

using connector::test::onTmpfs;

class Operations : public connector::test::ScratchFolder {
protected:
  template <typename Call>
  void expectRefusal(const Call& call, const Failure& expected) {
    const auto before = disk();
    EXPECT_EQ(failureOf(call), expected);
    EXPECT_EQ(disk(), before);
  }

  [[nodiscard]] boost::posix_time::time_duration lastWriteSinceEpoch(timespec time) const {
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, time};
    EXPECT_EQ(::utimensat(AT_FDCWD, at("file").c_str(), times.data(), 0), 0);
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    return status(textAt("file")).last_write_time() - epoch;
  }
};

TEST_F(Operations, CreateDirectoriesMakesWhatIsMissingAndRefusesWhatIsNoFolder) {
  writeFile("a/file", "kept");
  std::filesystem::create_directory_symlink("a", at("link"));
  for (const char* path : {"a/b/c", "a/b/c", "a//d///e/", "a/f/./../g", "link/h"}) {
    create_directories(textAt(path));
  }
  for (const char* path : {"a/b/c", "a/d/e", "a/f", "a/g", "a/h"}) {
    EXPECT_TRUE(std::filesystem::is_directory(at(path))) << path;
  }
  expectRefusal([&] { create_directories(textAt("a/file")); },
                failure<FileExistsError>(EEXIST, textAt("a/file")));
  expectRefusal([&] { create_directories(textAt("a/file/b/c")); },
                failure<NotDirectoryError>(ENOTDIR, textAt("a/file/b/c")));
  expectRefusal([&] { create_directory(textAt("a/b")); },
                failure<FileExistsError>(EEXIST, textAt("a/b")));
}

TEST_F(Operations, AreDeniedByEveryLackOfPermission) {
  for (const int code : {EACCES, EPERM, EROFS}) {
    expectRefusal([=] { detail::throw_errno(code, u"/a"); }, failure<AccessDenied>(code, u"/a"));
  }
}

TEST_F(Operations, CopyReplacesNothing) {
  writeFile("source", "new");
  writeFile("file", "old");
  std::filesystem::create_symlink("nowhere", at("dangling"));
  for (const char* target : {"file", "dangling"}) {
    expectRefusal([&] { copy(textAt("source"), textAt(target), copy_option{}); },
                  failure<FileExistsError>(EEXIST, textAt(target)));
  }
}

TEST_F(Operations, CopyLendsSetUserIdToNoOtherOwner) {
  using std::filesystem::perms;
  std::filesystem::permissions(writeFile("source"), perms{06755});
  std::filesystem::permissions(makeFolder("open"), perms::all);
  copy(textAt("source"), textAt("own"), copy_option{});
  EXPECT_EQ(std::filesystem::status(at("own")).permissions(), perms{06755});
  const bool root = ::geteuid() == 0;
  connector::test::asUnprivilegedUser([&] {
    copy(textAt("source"), textAt("open/target"), copy_option{});
    EXPECT_EQ(std::filesystem::status(at("open/target")).permissions(),
              root ? perms{0755} : perms{06755});
  });
}

TEST_F(Operations, LastWriteTimesAreExactOrInfinite) {
  onTmpfs(folder(), "size=64k", [this] {
    constexpr std::int64_t aeons = std::int64_t{1} << 45U;
    constexpr std::int64_t representable = 9'000'000'000'000;
    writeFile("file");
    EXPECT_EQ(lastWriteSinceEpoch({-1, 750'000'000}).total_microseconds(), -250'000);
    EXPECT_TRUE(lastWriteSinceEpoch({aeons, 0}).is_pos_infinity());
    EXPECT_TRUE(lastWriteSinceEpoch({-aeons, 0}).is_neg_infinity());
    EXPECT_EQ(lastWriteSinceEpoch({representable, 0}).total_seconds(), representable);
    EXPECT_EQ(lastWriteSinceEpoch({-representable, 0}).total_seconds(), -representable);
  });
}

} // namespace
} // namespace fl::filesystem::test
