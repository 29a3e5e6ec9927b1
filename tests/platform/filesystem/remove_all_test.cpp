#include "Failure.h"
#include "support/ChildProcess.h"
#include "support/OpenDescriptors.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <map>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace {

std::function<void()> beforeCall;

void announceCall() {
  if (beforeCall)
    beforeCall();
}

} // namespace

// These two take the place of the C library's, also for the library under test.

// NOLINTNEXTLINE(cert-dcl50-cpp): declared so by the C library.
extern "C" int openat(int folder, const char* name, int flags, ...) {
  announceCall();
  va_list arguments;
  va_start(arguments, flags);
  const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
  va_end(arguments);
  return static_cast<int>(::syscall(SYS_openat, folder, name, flags, mode));
}

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
  announceCall();
  return static_cast<int>(::syscall(SYS_unlinkat, folder, name, flags));
}

namespace fl::filesystem::test {
namespace {

using connector::test::asUnprivilegedUser;
using connector::test::inChildProcess;
using connector::test::onTmpfs;
using connector::test::openDescriptors;

using Disk = std::map<std::string, std::string>;

class RemoveAll : public connector::test::ScratchFolder {
protected:
  void expectRefusal(const std::u16string& path, const Failure& expected) {
    const Disk before = disk();
    const auto descriptors = openDescriptors();
    EXPECT_EQ(failureOf([&] { remove_all(path); }), expected);
    EXPECT_EQ(disk(), before);
    EXPECT_EQ(openDescriptors(), descriptors);
  }
};

TEST_F(RemoveAll, TakesAwayWhatIsNamedAndNothingElse) {
  writeFile("file");
  writeFile("full/a/b/file", "");
  writeFile("full/.hidden");
  writeFile("full/\xFF");
  writeFile("victim/file", "kept");
  std::filesystem::create_directory_symlink("../../victim", at("full/a/link"));
  std::filesystem::create_directory_symlink("victim", at("link"));
  std::filesystem::create_directory_symlink("victim", at("slashed"));
  std::filesystem::create_symlink("nowhere", at("dangling"));
  makeFolder("empty");
  makeFolder("victim/inner/folder");
  const auto descriptors = openDescriptors();
  for (const char* name :
       {"file", "link/../victim/inner", "full", "link", "slashed//", "dangling", "empty/"})
    EXPECT_EQ(failureOf([&] { remove_all(textAt(name)); }), Failure{}) << name;
  EXPECT_EQ(disk(), (Disk{{"victim", "/"}, {"victim/file", "kept"}}));
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(RemoveAll, RefusesWhatIsMissing) {
  writeFile("file");
  expectRefusal(u"", failure<PathNotFound>(ENOENT, u""));
  expectRefusal(textAt("no"), failure<PathNotFound>(ENOENT, textAt("no")));
  expectRefusal(textAt("no/no"), failure<PathNotFound>(ENOENT, textAt("no/no")));
  expectRefusal(textAt("file/no"), failure<NotDirectoryError>(ENOTDIR, textAt("file/no")));
}

// In a root folder of its own, so that a fault here costs the test's files and no others.
TEST_F(RemoveAll, RefusesARootAndDotsAsTheLastComponent) {
  onTmpfs(folder(), "size=64k", [this] {
    writeFile("a/b/file", "kept");
    ASSERT_EQ(::chroot(folder().c_str()), 0);
    ASSERT_EQ(::chdir("/a/b"), 0);
    for (const char16_t* path : {u"/", u"///", u".", u"..", u"./", u"../", u"/a/.", u"/a/b/..//"})
      EXPECT_EQ(failureOf([path] { remove_all(path); }), failure<SystemError>(EINVAL, path));
    EXPECT_EQ(::access("/a/b/file", F_OK), 0);
    remove_all(u"file");
    EXPECT_NE(::access("/a/b/file", F_OK), 0);
  });
}

// A descriptor per level would run out at once, and no path reaches the bottom.
TEST_F(RemoveAll, NeedsFewDescriptorsForATreeDeeperThanAPathCanBe) {
  const std::string name(200, 'd');
  makeFolder("deep");
  int here = ::open(at("deep").c_str(), O_PATH | O_DIRECTORY);
  for (int level = 0; level < 150; ++level) {
    for (const char* file : {"a", "z"})
      ::close(::openat(here, file, O_CREAT | O_WRONLY, 0600));
    ASSERT_EQ(::mkdirat(here, name.c_str(), 0700), 0);
    ASSERT_EQ(::mkdirat(here, "sibling", 0700), 0);
    ASSERT_EQ(::mkdirat(here, "sibling/folder", 0700), 0);
    const int next = ::openat(here, name.c_str(), O_PATH | O_DIRECTORY);
    ::close(here);
    here = next;
  }
  ::close(here);
  inChildProcess([this] {
    const rlimit few{50, 50};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    remove_all(textAt("deep"));
  });
  EXPECT_TRUE(disk().empty());
}

TEST_F(RemoveAll, WithoutPermissionLosesNothingThatItCouldNotAlsoFinish) {
  writeFile("sealed/full/file", "kept");
  ASSERT_EQ(::chmod(at("sealed").c_str(), 0555), 0);
  makeFolder("open/top/unreadable/sub");
  for (const char* path : {"open", "open/top", "open/top/unreadable"})
    ASSERT_EQ(::chmod(at(path).c_str(), 0777), 0);
  asUnprivilegedUser([this] {
    expectRefusal(textAt("sealed/full"), failure<AccessDenied>(EACCES, textAt("sealed/full")));
    makeFolder("open/top/mine");
    ::chmod(at("open/top/mine").c_str(), 0);
    remove_all(textAt("open/top/mine"));
    EXPECT_FALSE(std::filesystem::exists(at("open/top/mine")));
  });
  ASSERT_EQ(::chmod(at("open/top/unreadable").c_str(), 0), 0);
  asUnprivilegedUser([this] {
    EXPECT_EQ(failureOf([this] { remove_all(textAt("open/top")); }),
              failure<AccessDenied>(EACCES, textAt("open/top/unreadable")));
  });
  EXPECT_EQ(::chmod(at("open/top/unreadable").c_str(), 0700), 0);
  EXPECT_TRUE(std::filesystem::exists(at("open/top/unreadable/sub")));
}

TEST_F(RemoveAll, KeepsWhatIsMountedInTheTree) {
  onTmpfs(makeFolder("top/mounted"), "size=64k", [this] {
    writeFile("top/mounted/file", "kept");
    expectRefusal(textAt("top"), failure<SystemError>(EBUSY, textAt("top/mounted")));
    expectRefusal(textAt("top/mounted"), failure<SystemError>(EBUSY, textAt("top/mounted")));
  });
}

// What another process does meanwhile matters only between two system calls of remove_all, so the
// tests below do it there, once at each such moment.
class RemoveAllMeanwhile : public RemoveAll {
protected:
  ~RemoveAllMeanwhile() override { beforeCall = nullptr; }

  /// Removes "top" from a fresh tree for every moment there is, disturbed at that moment by what
  /// `disturb` does. Nothing but "top" may suffer.
  template <typename Build, typename Disturb, typename Check>
  void disturbAtEveryMoment(const Build& build, const Disturb& disturb, const Check& check) {
    writeFile("victim/file", "kept");
    std::size_t calls = 0;
    std::size_t moment = 0;
    do {
      build();
      calls = 0;
      ++moment;
      beforeCall = [&] { disturb(++calls, moment); };
      const Failure failure = failureOf([this] { remove_all(textAt("top")); });
      beforeCall = nullptr;
      check(failure);
      ASSERT_EQ(readFile("victim/file"), "kept") << "disturbed at call " << moment;
      std::filesystem::remove_all(at("top"));
    } while (moment <= calls);
    EXPECT_GT(moment, 10U); // Else the calls are not seen here.
  }

  void buildFolderAndLink() {
    writeFile("top/sub/file");
    writeFile("top/sub/inner/file");
    std::filesystem::create_directory_symlink("../victim", at("top/link"));
  }

  void swapFolderAndLink() const {
    ::renameat2(AT_FDCWD, at("top/sub").c_str(), AT_FDCWD, at("top/link").c_str(), RENAME_EXCHANGE);
  }
};

TEST_F(RemoveAllMeanwhile, AFolderThatBecomesALinkIsNeverFollowed) {
  disturbAtEveryMoment([this] { buildFolderAndLink(); },
                       [this](std::size_t call, std::size_t moment) {
                         if (call == moment)
                           swapFolderAndLink();
                       },
                       [this](const Failure& failure) {
                         EXPECT_EQ(failure, Failure{});
                         EXPECT_FALSE(std::filesystem::exists(at("top")));
                       });
}

TEST_F(RemoveAllMeanwhile, AFolderAndALinkThatKeepChangingPlacesEndTheAttempt) {
  disturbAtEveryMoment([this] { buildFolderAndLink(); },
                       [this](std::size_t call, std::size_t moment) {
                         if (call >= moment && moment <= 20)
                           swapFolderAndLink();
                       },
                       [](const Failure& /*any*/) {});
}

// Deep enough that folders above the moved one were closed and are sought by way of "..".
TEST_F(RemoveAllMeanwhile, AFolderThatIsMovedElsewhereDoesNotLeadTheWayThere) {
  const std::string top = "top/1/2";
  disturbAtEveryMoment(
      [this, &top] {
        std::filesystem::path deep = top;
        for (int level = 0; level < 40; ++level)
          deep /= "d";
        makeFolder(deep);
      },
      [this, &top](std::size_t call, std::size_t moment) {
        if (call == moment)
          ::renameat2(AT_FDCWD, at(top).c_str(), AT_FDCWD, at("victim/moved").c_str(), 0);
      },
      [this](const Failure& failure) {
        const bool ended = failure == Failure{} || failure.code == ESTALE;
        EXPECT_TRUE(ended) << failure;
        std::filesystem::remove_all(at("victim/moved"));
      });
}

} // namespace
} // namespace fl::filesystem::test
