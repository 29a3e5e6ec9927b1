#include "support/Measured.h"
#include "support/ScratchFolder.h"

#include <connector/file/v1/FileServiceImpl.h>

#include <gtest/gtest.h>

#include <atomic>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <thread>

namespace connector::test {

namespace {

namespace fs = std::filesystem;

/// Two names that change places without a pause for as long as this lives.
class Swapper {
public:
  Swapper(fs::path left, fs::path right, std::atomic<int>& swaps)
      : thread_([this, left = std::move(left), right = std::move(right), &swaps] {
        while (!ended_) {
          const bool swapped =
              renameat2(AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE) == 0;
          swaps += swapped ? 1 : 0;
        }
      }) {}

  Swapper(const Swapper&) = delete;
  Swapper& operator=(const Swapper&) = delete;

  ~Swapper() {
    ended_ = true;
    thread_.join();
  }

private:
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

class RemovalRace : public ScratchFolder {
protected:
  /// A tree to be removed, with links to the victim beside it.
  void makeTree() {
    for (const auto* const name : {"tree/a/b/c/d", "tree/a/e", "tree/f"}) {
      const fs::path folder = makeFolder(name);
      for (int file = 0; file < 10; ++file) {
        writeFile(fs::path(name) / ("file-" + std::to_string(file)), "doomed");
      }
    }
    fs::remove_all(at("link"));
    fs::create_directory_symlink(at("victim"), at("link"));
  }
};

} // namespace

TEST_F(RemovalRace, LosesNothingBehindLinksThatAreSwappedIn) {
  constexpr int enough = 100000;
  makeFolder("victim/b/c/d");
  writeFile("victim/file-1", "precious");
  writeFile("victim/b/c/d/file-1", "precious");
  const auto before = disk();

  file::v1::FileServiceImpl service;
  std::atomic<int> swaps{0};
  int removals = 0;
  int rounds = 0;
  for (; swaps < enough; ++rounds) {
    makeTree();
    const fs::path target = at(rounds % 2 == 0 ? "tree/a" : "tree/a/b");
    const Swapper swapper(target, at("link"), swaps);
    try {
      service.remove(textAt("tree")).wait();
      ++removals;
    } catch (const std::exception&) {
      // A swap made it fail for good; what counts is what it left.
    }
  }
  EXPECT_GT(removals, 0);

  fs::remove_all(at("tree"));
  fs::remove_all(at("link"));
  EXPECT_EQ(disk(), before);
  printMeasured(std::to_string(swaps) + " swaps of folders for links during " +
                std::to_string(rounds) + " removals, of which " + std::to_string(removals) +
                " succeed");
}

} // namespace connector::test
