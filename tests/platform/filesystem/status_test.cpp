#include "Failure.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fl::filesystem::test {
namespace {

using connector::test::asUnprivilegedUser;
using connector::test::inChildProcess;
using connector::test::onTmpfs;

class Status : public connector::test::ScratchFolder {
protected:
  static void setTime(const std::filesystem::path& file, timespec time) {
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times.data(), 0), 0);
  }

  [[nodiscard]] boost::posix_time::time_duration sinceEpoch(const char* name) const {
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    return status(textAt(name)).last_write_time() - epoch;
  }
};

TEST_F(Status, TellsTheKindOfWhatALinkLeadsTo) {
  using Kind = file_status::kind;
  writeFile("file", "12345");
  makeFolder("folder");
  ::mkfifo(at("fifo").c_str(), 0600);
  std::filesystem::create_symlink("file", at("link"));
  std::filesystem::create_symlink("nowhere", at("dangling"));
  const std::vector<std::pair<const char*, Kind>> rows = {
      {"file", Kind::regular},       {"link", Kind::regular},     {"folder", Kind::directory},
      {"fifo", Kind::other},         {"dangling", Kind::missing}, {"nothing", Kind::missing},
      {"file/below", Kind::missing},
  };
  for (const auto& [name, kind] : rows) {
    const file_status found = status(textAt(name));
    EXPECT_EQ(file_status::exists(found), kind != Kind::missing) << name;
    EXPECT_EQ(file_status::is_regular(found), kind == Kind::regular) << name;
    EXPECT_EQ(file_status::is_directory(found), kind == Kind::directory) << name;
    EXPECT_EQ(exists(textAt(name)), kind != Kind::missing) << name;
  }
  EXPECT_EQ(status(textAt("link")).size(), 5U);
}

TEST_F(Status, OfAMissingPathHasNoSizeAndTheEpochAsItsTime) {
  EXPECT_EQ(status(textAt("nothing")).size(), 0U);
  EXPECT_EQ(sinceEpoch("nothing").total_microseconds(), 0);
}

TEST_F(Status, ThrowsWhenTheSystemCannotTell) {
  std::filesystem::create_symlink("loop", at("loop"));
  EXPECT_EQ(failureOf([&] { status(textAt("loop")); }),
            failure<SystemError>(ELOOP, textAt("loop")));
  const std::u16string tooLong = textAt(std::string(300, 'n'));
  EXPECT_EQ(failureOf([&] { exists(tooLong); }), failure<FileNameTooLarge>(ENAMETOOLONG, tooLong));
}

TEST_F(Status, KeepsMicrosecondsAlsoBefore1970) {
  writeFile("file");
  const std::vector<std::pair<timespec, std::int64_t>> rows = {
      {{1, 900'000'999}, 1'900'000},
      {{1'700'000'000, 123'456'000}, 1'700'000'000'123'456},
      {{-1, 750'000'000}, -250'000},
      {{-1'000'000, 1'000}, -999'999'999'999},
  };
  for (const auto& [time, microseconds] : rows) {
    setTime(at("file"), time);
    EXPECT_EQ(sinceEpoch("file").total_microseconds(), microseconds);
  }
}

TEST_F(Status, GivesAnInfinityForTimesBeyondMicrosecondsIn64Bits) {
  onTmpfs(folder(), "size=64k", [this] {
    constexpr std::int64_t aeons = std::int64_t{1} << 45U;
    constexpr std::int64_t representable = 9'000'000'000'000;
    writeFile("file");
    setTime(at("file"), {aeons, 0});
    EXPECT_TRUE(sinceEpoch("file").is_pos_infinity());
    setTime(at("file"), {-aeons, 0});
    EXPECT_TRUE(sinceEpoch("file").is_neg_infinity());
    setTime(at("file"), {representable, 0});
    EXPECT_EQ(sinceEpoch("file").total_seconds(), representable);
    setTime(at("file"), {-representable, 0});
    EXPECT_EQ(sinceEpoch("file").total_seconds(), -representable);
  });
}

using Access = connector::test::ScratchFolder;

TEST_F(Access, FollowsThePermissionsOfTheEffectiveUser) {
  struct Row {
    const char* name;
    mode_t mode;
    bool readable;
    bool writable;
  };

  const std::vector<Row> rows = {
      {"all", 0666, true, true},
      {"reading", 0444, true, false},
      {"writing", 0222, false, true},
      {"none", 0, false, false},
  };
  for (const Row& row : rows) {
    ASSERT_EQ(::chmod(writeFile(row.name).c_str(), row.mode), 0);
  }
  makeFolder("closed");
  writeFile("closed/file");
  ASSERT_EQ(::chmod(at("closed").c_str(), 0), 0);

  asUnprivilegedUser([&] {
    for (const Row& row : rows) {
      EXPECT_EQ(access(textAt(row.name), access_read), row.readable) << row.name;
      EXPECT_EQ(access(textAt(row.name), access_write), row.writable) << row.name;
      EXPECT_EQ(access(textAt(row.name), access_read | access_write), row.readable && row.writable)
          << row.name;
    }
    EXPECT_FALSE(access(textAt("closed/file"), access_read));
    EXPECT_EQ(failureOf([&] { status(textAt("closed/file")); }),
              failure<AccessDenied>(EACCES, textAt("closed/file")));
  });
}

TEST_F(Access, GoesByTheEffectiveUserNotByTheRealOne) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "only root can have an effective user of another kind";
  }
  ASSERT_EQ(::chmod(writeFile("file").c_str(), 0600), 0);
  inChildProcess([this] {
    ASSERT_EQ(::seteuid(65534), 0);
    EXPECT_FALSE(access(textAt("file"), access_read));
  });
}

TEST_F(Access, IsFalseForAMissingPathAndThrowsWhenTheSystemCannotTell) {
  writeFile("file");
  std::filesystem::create_symlink("loop", at("loop"));
  EXPECT_FALSE(access(textAt("nothing"), access_read));
  EXPECT_FALSE(access(textAt("file/below"), access_write));
  EXPECT_EQ(failureOf([&] { access(textAt("loop"), access_read); }),
            failure<SystemError>(ELOOP, textAt("loop")));
}

TEST_F(Access, ToWriteIsFalseOnAReadOnlyFileSystem) {
  onTmpfs(folder(), "size=64k", [this] {
    writeFile("file");
    connector::test::makeReadOnly(folder());
    EXPECT_TRUE(access(textAt("file"), access_read));
    EXPECT_FALSE(access(textAt("file"), access_write));
  });
}

} // namespace
} // namespace fl::filesystem::test
