#include "Failure.h"
#include "support/ChildProcess.h"
#include "support/Machine.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <future>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {

std::function<void(std::string_view name)> beforeCall;

void announceCall(const char* name) {
  if (beforeCall) {
    beforeCall(name);
  }
}

} // namespace

// These two take the place of the C library's, also for the library under test. Files that this
// program creates through openat are their owner's alone.
// NOLINTBEGIN(cert-dcl50-cpp,readability-inconsistent-declaration-parameter-name): as the C library
// declares them

extern "C" int openat(int folder, const char* name, int flags, ...) {
  announceCall(name);
  return static_cast<int>(::syscall(SYS_openat, folder, name, flags, S_IRUSR | S_IWUSR));
}

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
  announceCall(name);
  return static_cast<int>(::syscall(SYS_unlinkat, folder, name, flags));
}

// NOLINTEND(cert-dcl50-cpp,readability-inconsistent-declaration-parameter-name)

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
  writeFile("victim/file", "kept");
  std::filesystem::create_directory_symlink("../../victim", at("full/a/link"));
  std::filesystem::create_directory_symlink("victim", at("link"));
  std::filesystem::create_directory_symlink("victim", at("slashed"));
  makeFolder("empty");
  makeFolder("victim/inner/folder");
  const auto descriptors = openDescriptors();
  for (const char* name : {"file", "link/../victim/inner", "full", "link", "slashed//", "empty/"}) {
    EXPECT_EQ(failureOf([&] { remove_all(textAt(name)); }), Failure{}) << name;
  }
  EXPECT_EQ(disk(), (Disk{{"victim", "/"}, {"victim/file", "kept"}}));
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(RemoveAll, HasNothingToDoForWhatIsMissingAndRefusesDotsAsTheLastComponent) {
  writeFile("a/file", "kept");
  for (const char* name : {"no", "no/no", "a/file/no"}) {
    expectRefusal(textAt(name), Failure{});
  }
  for (const char* name : {"a/.", "a/./", "a/.."}) {
    expectRefusal(textAt(name), failure<SystemError>(EINVAL, textAt(name)));
  }
  expectRefusal(u"", failure<PathNotFound>(ENOENT, u"")); // names nothing
}

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

// What others do meanwhile matters only between two system calls of remove_all, so that is where
// these tests do it.
class RemoveAllMeanwhile : public RemoveAll {
protected:
  void TearDown() override { beforeCall = nullptr; }

  Failure removeTop() {
    Failure failure = failureOf([this] { remove_all(textAt("top")); });
    beforeCall = nullptr;
    return failure;
  }

  /// Exchanges top/sub for spare all the time.
  void whileSwapping(std::atomic<int>& swaps, const std::function<void()>& work) const {
    std::atomic<bool> ended = false;
    const auto swapper = std::async(std::launch::async, [&] {
      while (!ended) {
        swaps += renameAt("top/sub", "spare", RENAME_EXCHANGE) ? 1 : 0;
      }
    });
    try {
      work();
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
    ended = true;
    swapper.wait();
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

// By itself a swap hardly ever comes between two calls that follow each other, so they are held up,
// each for a length of its own: swaps in step with the calls would make every look miss the folder.
TEST_F(RemoveAllMeanwhile, AFolderThatIsSwappedAllTheTimeIsNotFollowed) {
  constexpr int enough = 100'000;
  std::atomic<int> swaps = 0;
  int removals = 0;
  Failure failure;
  writeFile("victim/sub/file", "kept");
  whileSwapping(swaps, [&] {
    std::minstd_rand random;
    for (; failure == Failure{} && (swaps < enough || removals < 50); ++removals) {
      // Nothing is swapped before the new tree stands whole under its name.
      writeFile("new/sub/file");
      writeFile("new/sub/inner/file");
      std::filesystem::create_directory_symlink(at("victim"), at("spare"));
      std::filesystem::rename(at("new"), at("top"));
      beforeCall = [&](std::string_view /*name*/) {
        const int awaited = swaps + static_cast<int>(random() % 20);
        for (int turn = 0; swaps < awaited && turn < 100; ++turn) {
          std::this_thread::yield();
        }
      };
      failure = removeTop();
      std::filesystem::remove_all(at("spare"));
    }
  });
  EXPECT_EQ(failure, Failure{});
  EXPECT_EQ(disk(), (Disk{{"victim", "/"}, {"victim/sub", "/"}, {"victim/sub/file", "kept"}}));
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

// Deep enough that the folders near the top were closed and are sought by way of "..".
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
