#include "Failure.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

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

TEST_F(Operations, RenameReplacesAFileAndNamesThePathThatIsInTheWay) {
  writeFile("a", "new");
  writeFile("b", "old");
  rename(textAt("a"), textAt("b"), {});
  EXPECT_EQ(disk(), (std::map<std::string, std::string>{{"b", "new"}}));

  makeFolder("full/sub");
  makeFolder("empty");
  expectRefusal([&] { rename(textAt("empty"), textAt("full"), {}); },
                failure<DirectoryNotEmpty>(ENOTEMPTY, textAt("full")));
  expectRefusal([&] { rename(textAt("b"), textAt("empty"), {}); },
                failure<SystemError>(EISDIR, textAt("empty")));
  expectRefusal([&] { rename(textAt("nothing"), textAt("c"), {}); },
                failure<PathNotFound>(ENOENT, textAt("nothing")));
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

TEST_F(Operations, AccessFollowsThePermissionsOfAnOrdinaryUser) {
  struct Row {
    const char* name;
    mode_t mode;
    bool readable;
    bool writable;
  };

  const std::array<Row, 4> rows{{{"all", 0666, true, true},
                                 {"reading", 0444, true, false},
                                 {"writing", 0222, false, true},
                                 {"none", 0, false, false}}};
  for (const Row& row : rows) {
    ASSERT_EQ(::chmod(writeFile(row.name).c_str(), row.mode), 0);
  }
  std::filesystem::create_symlink("loop", at("loop"));
  connector::test::asUnprivilegedUser([&] {
    for (const Row& row : rows) {
      EXPECT_EQ(access(textAt(row.name), access_read), row.readable) << row.name;
      EXPECT_EQ(access(textAt(row.name), access_write), row.writable) << row.name;
    }
    EXPECT_FALSE(access(textAt("missing"), access_read));
    EXPECT_FALSE(access(textAt("all/below"), access_write));
    EXPECT_EQ(failureOf([&] { access(textAt("loop"), access_read); }),
              failure<SystemError>(ELOOP, textAt("loop")));
  });
}

TEST_F(Operations, AccessToWriteIsFalseOnAReadOnlyFileSystem) {
  onTmpfs(folder(), "size=64k", [this] {
    writeFile("file");
    connector::test::makeReadOnly(folder());
    EXPECT_TRUE(access(textAt("file"), access_read));
    EXPECT_FALSE(access(textAt("file"), access_write));
  });
}

} // namespace
} // namespace fl::filesystem::test
