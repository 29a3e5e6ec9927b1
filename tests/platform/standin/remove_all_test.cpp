#include "platform/Failure.h"
#include "support/ChildProcess.h"
#include "support/Machine.h"
#include "support/ScratchFolder.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

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

class RemoveAll : public connector::test::ScratchFolder {
protected:
  void expectRefusal(const std::u16string& path, const Failure& expected) {
    const Disk before = disk();
    EXPECT_EQ(failureOf([&] { remove_all(path); }), expected);
    EXPECT_EQ(disk(), before);
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
    expectRefusal(textAt("top"), failure<SystemError>(EBUSY, textAt("top/mounted")));
    expectRefusal(textAt("top/mounted"), failure<SystemError>(EBUSY, textAt("top/mounted")));
  });
}

// Other processes can interfere only between two system calls of remove_all, so these tests do it
// there.
class RemoveAllMeanwhile : public RemoveAll {
protected:
  void TearDown() override { beforeCall = nullptr; }

  Failure removeTop() {
    const auto descriptors = openDescriptors();
    Failure failure = failureOf([this] { remove_all(textAt("top")); });
    beforeCall = nullptr;
    EXPECT_EQ(openDescriptors(), descriptors);
    return failure;
  }

  [[nodiscard]] bool renameAt(const char* from, const char* to, unsigned flags) const {
    return ::renameat2(AT_FDCWD, at(from).c_str(), AT_FDCWD, at(to).c_str(), flags) == 0;
  }
};

TEST_F(RemoveAllMeanwhile, AFolderSwappedForALinkAtAnyMomentIsNotFollowed) {
  const Disk left{{"victim", "/"}, {"victim/file", "kept"}};
  int swaps = 0;
  int calls = 0;
  for (int moment = 1; moment <= calls + 1; ++moment) {
    writeFile("victim/file", "kept");
    writeFile("top/sub/file");
    writeFile("top/sub/inner/file");
    std::filesystem::create_directory_symlink(at("victim"), at("spare"));
    calls = 0;
    beforeCall = [&](std::string_view /*name*/) {
      if (++calls == moment && renameAt("top/sub", "spare", RENAME_EXCHANGE)) {
        ++swaps;
      }
    };
    EXPECT_EQ(removeTop(), Failure{});
    std::filesystem::remove_all(at("spare"));
    ASSERT_EQ(disk(), left) << "swapped before call " << moment;
  }
  EXPECT_GT(swaps, 5);
}

TEST_F(RemoveAllMeanwhile, WhatOthersRemoveAtAnyMomentIsNoFailure) {
  for (const char* rival : {"top", "top/sub", "top/sub/file"}) {
    int calls = 0;
    for (int moment = 1; moment <= calls + 1; ++moment) {
      writeFile("top/sub/file");
      writeFile("top/other");
      calls = 0;
      beforeCall = [&](std::string_view /*name*/) {
        if (++calls != moment) {
          return;
        }
        inChildProcess([&] { std::filesystem::remove_all(at(rival)); });
      };
      EXPECT_EQ(removeTop(), Failure{}) << rival << " removed before call " << moment;
      EXPECT_TRUE(disk().empty());
    }
    EXPECT_GT(calls, 3);
  }
}

// Deep enough that the directories near the top were closed and are reopened through "..".
TEST_F(RemoveAllMeanwhile, AFolderMovedElsewhereDoesNotLeadTheWayThere) {
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
