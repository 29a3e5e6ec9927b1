#include "native_name.h"
#include "platform/Failure.h"
#include "support/ChildProcess.h"
#include "support/Machine.h"

#include <fl/filesystem/operations.h>
#include <fl/i18n/directory_iterator.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
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

// The two functions below replace those of the C library, also for the library under test.

// -D_FILE_OFFSET_BITS=64 would turn `openat` into `openat64`, so a label sets the symbol. New files
// have mode 0600.
extern "C" int announcedOpenat(int directory, const char* name, int flags) asm("openat");

extern "C" int announcedOpenat(int directory, const char* name, int flags) {
  announceCall(name);
  return static_cast<int>(::syscall(SYS_openat, directory, name, flags, S_IRUSR | S_IWUSR));
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): as in the C library
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

using StandIn = FilesystemTest;

TEST_F(StandIn, HasOneUtf16FormForEachNativeName) {
  const std::vector<std::pair<std::string, std::u16string>> rows = {
      {"a\xC3\xA9", u"a\u00e9"},                         // two bytes
      {"\xF0\x9F\x98\x80", u"\U0001F600"},               // four bytes
      {"\xEE\xBD\xBF\xEF\x80\x80", u"\uef7f\uf000"},     // private use, but not an escape
      {"\x80-\xFF", u"\uef80-\uefff"},                   // lone high bytes
      {"\xC0\xAF", u"\uefc0\uefaf"},                     // overlong
      {"\xED\xA0\x80", u"\uefed\uefa0\uef80"},           // surrogate
      {"\xF4\x90\x80\x80", u"\ueff4\uef90\uef80\uef80"}, // beyond Unicode
      {"\xE4\xB8z", u"\uefe4\uefb8z"},                   // cut short by text
      {"z\xF0\x9F\x98", u"z\ueff0\uef9f\uef98"},         // cut short by the end
      {"\xE4\xC3\xA9", u"\uefe4\u00e9"},                 // cut short by a character
      {"\xEE\xBE\x80", u"\uefee\uefbe\uef80"},           // an escape in UTF-8
  };
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(detail::native_to_utf16(bytes), text);
    EXPECT_EQ(detail::utf16_to_native(text), bytes);
  }
  // Escapes of bytes that are valid UTF-8.
  for (const char16_t* text : {u"\uefc3\uefa9", u"/a/\ueff0\uef9f\uef98\uef80/b"}) {
    EXPECT_EQ(failureOf([=] { detail::utf16_to_native(text); }),
              failure<FileNameConversionFailure>(EILSEQ, text));
  }
}

TEST_F(StandIn, ReportsLastWriteTimesExactlyOrAsInfinite) {
  onTmpfs(directory(), "size=64k", [this] {
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    const std::string file = writeFile("file");
    const auto lastWrite = [&](std::int64_t seconds, long nanoseconds = 0) {
      const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, {seconds, nanoseconds}};
      EXPECT_EQ(::utimensat(AT_FDCWD, file.c_str(), times.data(), 0), 0);
      return status(textAt("file")).last_write_time() - epoch;
    };
    constexpr std::int64_t far = std::int64_t{1} << 45U;
    constexpr std::int64_t representable = 9'000'000'000'000;
    EXPECT_EQ(lastWrite(-1, 750'000'000).total_microseconds(), -250'000);
    EXPECT_TRUE(lastWrite(far).is_pos_infinity());
    EXPECT_TRUE(lastWrite(-far).is_neg_infinity());
    EXPECT_EQ(lastWrite(representable).total_seconds(), representable);
    EXPECT_EQ(lastWrite(-representable).total_seconds(), -representable);
  });
}

/// During an iteration, another directory replaces the iterated one. Its entry `name` is a
/// directory instead of a file.
class DirectoryCache : public FilesystemTest {
protected:
  void SetUp() override { writeFile("iterated/name"); }

  void replaceIterated() {
    std::filesystem::rename(at("iterated"), at("elsewhere"));
    makeDirectory("iterated/name");
  }

  [[nodiscard]] static bool isFileAt(const std::u16string& path) {
    EXPECT_TRUE(exists(path) && access(path, 2));
    return file_status::is_regular(status(path));
  }

  const std::u16string iterated = textAt("iterated");
};

TEST_F(DirectoryCache, LooksUpEntriesInTheDirectoryThatWasOpened) {
  for (const char16_t* const ending : {u"", u"/", u"//"}) {
    const std::u16string path = iterated + ending;
    upath_directory_iterator_impl entries(path, 0, false);
    replaceIterated();
    EXPECT_TRUE(isFileAt(path + (path == iterated ? u"/name" : u"name")));
    std::thread([this] { EXPECT_FALSE(isFileAt(iterated + u"/name")); }).join();
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
    EXPECT_FALSE(isFileAt(iterated + u"/name"));
    std::filesystem::remove_all(at("iterated"));
    std::filesystem::rename(at("elsewhere"), at("iterated"));
  }
}

TEST_F(DirectoryCache, EndsWhenAnotherThreadEndsTheIteration) {
  auto entries = std::make_unique<upath_directory_iterator_impl>(iterated, 0, false);
  replaceIterated();
  std::thread([&] { entries.reset(); }).join();
  EXPECT_FALSE(isFileAt(iterated + u"/name"));
}

/// Other processes can change a tree between two system calls of remove_all, and so do these tests.
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

  /// Makes the tree and removes `top` once for each openat and unlinkat of the removal, with
  /// `interfere` before that call. Returns the number of calls.
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

// A descriptor for each level would exceed the limit. The path of the deepest directory
// would exceed PATH_MAX.
TEST_F(RemoveAll, NeedsFewDescriptorsForATreeDeeperThanAPathCanBe) {
  makeDirectory("deep");
  inChildProcess([this] {
    const rlimit few{50, 50};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    std::filesystem::current_path(at("deep"));
    for (int level = 0; level < 150; ++level) {
      const std::string name(200, 'd');
      std::filesystem::create_directories("sibling/directory");
      ASSERT_EQ(::mkdir(name.c_str(), 0700), 0);
      ASSERT_EQ(::chdir(name.c_str()), 0);
    }
    remove_all(textAt("deep"));
  });
  EXPECT_TRUE(disk().empty());
}

TEST_F(RemoveAll, KeepsAFileSystemThatIsMountedInTheTree) {
  onTmpfs(makeDirectory("top/mounted"), "size=64k", [this] {
    writeFile("top/mounted/file", "kept");
    for (const char* path : {"top", "top/mounted"}) {
      expectRefusal([&] { remove_all(textAt(path)); },
                    failure<SystemError>(EBUSY, textAt("top/mounted")));
    }
  });
}

TEST_F(RemoveAll, DoesNotFollowALinkThatReplacesADirectoryAtAnyMoment) {
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

TEST_F(RemoveAll, SucceedsIfAnotherProcessRemovesEntriesAtAnyMoment) {
  const auto make = [this] {
    writeFile("top/sub/file");
    writeFile("top/other");
  };
  for (const char* path : {"top", "top/sub", "top/sub/file"}) {
    const auto remove = [&] { inChildProcess([&] { std::filesystem::remove_all(at(path)); }); };
    EXPECT_GT(removeTopAtEachMoment(make, remove, {}), 3) << path;
  }
}

// The tree is so deep that the directories near the top are closed and reopened through "..".
TEST_F(RemoveAll, DoesNotLeaveTheTreeThroughADirectoryThatWasMoved) {
  writeFile("victim/file", "kept");
  std::filesystem::path deep = "top/a/b";
  for (int level = 0; level < 40; ++level) {
    deep /= "d";
  }
  makeDirectory(deep);
  bool moved = false;
  beforeCall = [&](std::string_view name) {
    moved = moved || (name == ".." && renameAt("top/a/b", "victim/b", 0));
  };
  EXPECT_EQ(removeTop(), failure<SystemError>(ESTALE, textAt("top/a/b")));
  const Disk left{
      {"top", "/"}, {"top/a", "/"}, {"victim", "/"}, {"victim/b", "/"}, {"victim/file", "kept"}};
  EXPECT_EQ(disk(), left);
}

} // namespace
} // namespace fl::filesystem::test
