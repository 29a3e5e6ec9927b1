#include "native_name.h"
#include "platform/Failure.h"
#include "support/ChildProcess.h"
#include "support/Machine.h"

#include <fl/filesystem/fstream.h>
#include <fl/filesystem/operations.h>
#include <fl/i18n/directory_iterator.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::function<void(std::string_view name)> beforeCall;

void announceCall(const char* name) {
  if (beforeCall) {
    beforeCall(name);
  }
}

} // namespace

// These two replace the C library's, also for the library under test. Only the owner can use files
// that this program creates through openat.

// Under another name, which -D_FILE_OFFSET_BITS=64 does not change.
extern "C" int announcedOpenat(int directory, const char* name, int flags) asm("openat");

extern "C" int announcedOpenat(int directory, const char* name, int flags) {
  announceCall(name);
  return static_cast<int>(::syscall(SYS_openat, directory, name, flags, S_IRUSR | S_IWUSR));
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): as declared there
extern "C" int unlinkat(int directory, const char* name, int flags) noexcept {
  announceCall(name);
  return static_cast<int>(::syscall(SYS_unlinkat, directory, name, flags));
}

namespace fl::filesystem::test {
namespace {

using connector::test::Disk;
using connector::test::inChildProcess;
using connector::test::onTmpfs;
using connector::test::openDescriptors;
using detail::upath_directory_iterator_impl;

constexpr int SHARE_READ_WRITE = 0x40;
constexpr auto REPLACING = std::ios_base::trunc | std::ios_base::binary;

class StandIn : public FilesystemTest {
protected:
  [[nodiscard]] boost::posix_time::time_duration lastWriteSinceEpoch(timespec time) const {
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, time};
    EXPECT_EQ(::utimensat(AT_FDCWD, at("file").c_str(), times.data(), 0), 0);
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    return status(textAt("file")).last_write_time() - epoch;
  }
};

TEST_F(StandIn, HasOneUtf16FormForEachNativeName) {
  const std::vector<std::pair<std::string, std::u16string>> rows = {
      {"a\xC3\xA9", u"a\u00e9"},                         // two bytes
      {"\xF0\x9F\x98\x80", u"\U0001F600"},               // four bytes
      {"\xEE\xBD\xBF\xEF\x80\x80", u"\uef7f\uf000"},     // private use outside the escapes
      {"\x80-\xFF", u"\uef80-\uefff"},                   // lone high bytes
      {"\xC0\xAF", u"\uefc0\uefaf"},                     // overlong
      {"\xED\xA0\x80", u"\uefed\uefa0\uef80"},           // surrogate
      {"\xF4\x90\x80\x80", u"\ueff4\uef90\uef80\uef80"}, // beyond Unicode
      {"\xE4\xB8z", u"\uefe4\uefb8z"},                   // truncated, then text
      {"z\xF0\x9F\x98", u"z\ueff0\uef9f\uef98"},         // truncated at the end
      {"\xE4\xC3\xA9", u"\uefe4\u00e9"},                 // broken off by a valid one
      {"\xEE\xBE\x80", u"\uefee\uefbe\uef80"},           // an escape as real UTF-8
  };
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(detail::native_to_utf16(bytes), text);
    EXPECT_EQ(detail::utf16_to_native(text), bytes);
  }
  // Escaped bytes that are plain UTF-8, or complete a character across plain text.
  for (const char16_t* text : {u"\uefc3\uefa9", u"/a/\ueff0\uef9f\uef98\uef80/b"}) {
    EXPECT_EQ(failureOf([=] { detail::utf16_to_native(text); }),
              failure<FileNameConversionFailure>(EILSEQ, text));
  }
}

TEST_F(StandIn, LastWriteTimesAreExactOrInfinite) {
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

TEST_F(StandIn, StreamsHoldOneCloseOnExecDescriptorUntilClosed) {
  const int before = openDescriptors();
  const int lowest = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(lowest); // the next one has this number
  ofstream writer(at("file"), REPLACING, SHARE_READ_WRITE);
  EXPECT_EQ(::fcntl(lowest, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(openDescriptors(), before + 1);
  writer.close();
  EXPECT_TRUE(writer.good());
  EXPECT_EQ(openDescriptors(), before);
}

/// While a directory with a file in it is iterated over, another one with a directory of the same
/// name takes its path.
class DirectoryCache : public FilesystemTest {
protected:
  void SetUp() override {
    writeFile("iterated/name");
    makeFolder("iterated/inner");
  }

  void exchange() {
    std::filesystem::rename(at("iterated"), at("elsewhere"));
    makeFolder("iterated/name");
  }

  [[nodiscard]] static bool isFileAt(const std::u16string& path) {
    const bool isFile = file_status::is_regular(status(path));
    EXPECT_TRUE(exists(path));
    EXPECT_TRUE(access(path, 2));
    return isFile;
  }

  const std::u16string iterated = textAt("iterated");
  const std::u16string entry = textAt("iterated/name");
};

TEST_F(DirectoryCache, LooksUpEntriesInTheDirectoryThatWasOpened) {
  for (const char16_t* const ending : {u"", u"/", u"//"}) {
    const std::u16string path = iterated + ending;
    upath_directory_iterator_impl entries(path, 0, false);
    exchange();
    EXPECT_TRUE(isFileAt(path + (path == iterated ? u"/name" : u"name")));
    std::thread([this] { EXPECT_FALSE(isFileAt(entry)); }).join();
    for (const char16_t* const other : {u"/name/", u"/name/.", u"/../iterated/name"}) {
      EXPECT_FALSE(isFileAt(iterated + other)) << std::filesystem::path(other);
    }
    EXPECT_FALSE(exists(textAt("iterated-name")));
    const std::u16string unpaired = iterated + u"/\xD800";
    EXPECT_EQ(failureOf([&] { static_cast<void>(exists(unpaired)); }),
              failure<FileNameConversionFailure>(EILSEQ, unpaired));

    while (entries.is_open()) {
      entries.increment();
    }
    EXPECT_FALSE(isFileAt(entry));
    std::filesystem::remove_all(at("iterated"));
    std::filesystem::rename(at("elsewhere"), at("iterated"));
  }
}

TEST_F(DirectoryCache, EndsWhenAnotherThreadEndsTheIteration) {
  auto entries = std::make_unique<upath_directory_iterator_impl>(iterated, 0, false);
  exchange();
  std::thread([&] { entries.reset(); }).join();
  EXPECT_FALSE(isFileAt(entry));
}

/// Other processes can interfere only between two system calls of remove_all, so the tests do it
/// there.
class RemoveAll : public FilesystemTest {
protected:
  void TearDown() override { beforeCall = nullptr; }

  Failure removeTop() {
    const auto descriptors = openDescriptors();
    Failure failure = failureOf([this] { remove_all(textAt("top")); });
    beforeCall = nullptr;
    EXPECT_EQ(openDescriptors(), descriptors);
    return failure;
  }

  /// Makes the tree and removes `top` as often as it makes a system call, with the interference
  /// before another call each time. Returns the number of calls.
  template <typename Make, typename Interfere>
  int removeTopAtEachMoment(const Make& make, const Interfere& interfere, const Disk& left) {
    int calls = 0;
    for (int moment = 1; moment <= calls + 1; ++moment) {
      make();
      calls = 0;
      beforeCall = [&](std::string_view /*name*/) {
        if (++calls == moment) {
          interfere();
        }
      };
      EXPECT_EQ(removeTop(), Failure{}) << "before call " << moment;
      std::filesystem::remove_all(at("spare"));
      EXPECT_EQ(disk(), left) << "before call " << moment;
    }
    return calls;
  }

  [[nodiscard]] bool renameAt(const char* from, const char* to, unsigned flags) const {
    return ::renameat2(AT_FDCWD, at(from).c_str(), AT_FDCWD, at(to).c_str(), flags) == 0;
  }
};

// A descriptor per level would run out at once, and no path reaches the bottom.
TEST_F(RemoveAll, NeedsFewDescriptorsForATreeDeeperThanAPathCanBe) {
  makeFolder("deep");
  inChildProcess([this] {
    const rlimit few{50, 50};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    std::filesystem::current_path(at("deep"));
    for (int level = 0; level < 150; ++level) {
      const std::string name(200, 'd');
      std::filesystem::create_directories("sibling/folder");
      ASSERT_EQ(::mkdir(name.c_str(), 0700), 0);
      ASSERT_EQ(::chdir(name.c_str()), 0);
    }
    remove_all(textAt("deep"));
  });
  EXPECT_TRUE(disk().empty());
}

TEST_F(RemoveAll, KeepsWhatIsMountedInTheTree) {
  onTmpfs(makeFolder("top/mounted"), "size=64k", [this] {
    writeFile("top/mounted/file", "kept");
    for (const char* path : {"top", "top/mounted"}) {
      expectRefusal([&] { remove_all(textAt(path)); },
                    failure<SystemError>(EBUSY, textAt("top/mounted")));
    }
  });
}

TEST_F(RemoveAll, DoesNotFollowAFolderSwappedForALinkAtAnyMoment) {
  int swaps = 0;
  const auto make = [this] {
    writeFile("victim/file", "kept");
    writeFile("top/sub/file");
    writeFile("top/sub/inner/file");
    std::filesystem::create_directory_symlink(at("victim"), at("spare"));
  };
  const auto swap = [&] { swaps += renameAt("top/sub", "spare", RENAME_EXCHANGE) ? 1 : 0; };
  removeTopAtEachMoment(make, swap, {{"victim", "/"}, {"victim/file", "kept"}});
  EXPECT_GT(swaps, 5);
}

TEST_F(RemoveAll, SucceedsIfOthersRemoveEntriesAtAnyMoment) {
  for (const char* rival : {"top", "top/sub", "top/sub/file"}) {
    const auto make = [this] {
      writeFile("top/sub/file");
      writeFile("top/other");
    };
    const auto remove = [&] { inChildProcess([&] { std::filesystem::remove_all(at(rival)); }); };
    EXPECT_GT(removeTopAtEachMoment(make, remove, {}), 3) << rival;
  }
}

// Deep enough that the directories near the top were closed and are reopened through "..".
TEST_F(RemoveAll, AFolderMovedElsewhereDoesNotLeadTheWayThere) {
  writeFile("victim/file", "kept");
  std::filesystem::path deep = "top/a/b";
  for (int level = 0; level < 40; ++level) {
    deep /= "d";
  }
  makeFolder(deep);
  bool moved = false;
  beforeCall = [&](std::string_view name) {
    moved = moved || (name == ".." && renameAt("top/a/b", "victim/b", 0));
  };
  EXPECT_EQ(removeTop(), failure<SystemError>(ESTALE, textAt("top/a/b")));
  EXPECT_EQ(disk(), (Disk{{"top", "/"},
                          {"top/a", "/"},
                          {"victim", "/"},
                          {"victim/b", "/"},
                          {"victim/file", "kept"}}));
}

} // namespace
} // namespace fl::filesystem::test
