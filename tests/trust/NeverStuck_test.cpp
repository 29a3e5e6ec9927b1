#include "Requests.h"
#include "support/HostClient.h"
#include "support/Measured.h"
#include "support/Sanitizer.h"
#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

#include <Poco/String.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;

/// This process, when it has an object open.
enum class Peer { none, waits, filledIt, leasesIt };

/// Something that could keep whoever opens, reads or writes it waiting, or busy without end.
struct Object {
  mode_t kind;
  dev_t device = 0;
  Peer peer = Peer::none;
  std::string linkTo = {};

  /// False where that is left to the privileged.
  [[nodiscard]] bool make(const fs::path& path) const {
    const int result = S_ISLNK(kind) ? symlink(linkTo.c_str(), path.c_str())
                                     : mknod(path.c_str(), kind | 0666U, device);
    if (result != 0 && errno != EPERM) {
      throw std::system_error(errno, std::generic_category(), path);
    }
    return result == 0;
  }
};

class Descriptor {
public:
  explicit Descriptor(int number)
      : number_(number) {}

  ~Descriptor() { close(number_); }

  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int get() const { return number_; }

  void fill() const {
    const std::string block(4096, 'x');
    for (std::size_t size = block.size(); size > 0; size /= 2) {
      while (write(number_, block.data(), size) > 0) {
      }
    }
    ASSERT_EQ(errno, EAGAIN);
  }

private:
  int number_;
};

class NeverStuck : public ScratchFolder {
protected:
  void TearDown() override {
    if (requests_ > 0) {
      printTimes();
    }
  }

  /// Also at the end of a child process.
  void printTimes() {
    const auto& test = *::testing::UnitTest::GetInstance()->current_test_info();
    const auto slowest = std::chrono::duration_cast<std::chrono::milliseconds>(slowest_).count();
    printMeasured(std::string("never stuck ") + test.name() + ": " + std::to_string(requests_) +
                  " requests, the slowest answer after " + std::to_string(slowest) + " ms");
    requests_ = 0;
  }

  std::string answer(HostClient& host, const std::string& type, const std::string& params) {
    using Clock = std::chrono::steady_clock;
    host.setPatience(patience_);
    const auto start = Clock::now();
    auto text = host.askForText(type, params);
    slowest_ = std::max<Clock::duration>(slowest_, Clock::now() - start);
    ++requests_;
    return text;
  }

  /// The number of faults. The host must serve the next request, too.
  std::size_t ask(HostClient& host, const std::string& type, const std::string& params) {
    const auto faults = countFaults(*parseObject(answer(host, type, params)));
    EXPECT_LE(faults, 1U);
    EXPECT_EQ(countFaults(*host.ask("ListFolder", R"({"path":"."})")), 0U) << type << params;
    return faults;
  }

  std::size_t ask(HostClient& host, const Request& request, const fs::path& path,
                  const fs::path& own = {}) {
    SCOPED_TRACE(request.type + (" " + path.string()));
    return ask(host, request.type, request.with(path.string(), own.string()));
  }

  /// A fresh folder for one request.
  fs::path makeOwn() {
    fs::remove_all(at("own"));
    writeFile("own/a.txt", "a");
    writeFile("own/sub/b.txt", "b");
    return at("own");
  }

  void expectUnstuck(HostClient& host, const Object& object, const Request& request) {
    const auto own = makeOwn();
    if (!object.make(own / "object")) {
      return;
    }
    const Descriptor peer(
        object.peer == Peer::none
            ? -1
            : open((own / "object").c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (object.peer == Peer::filledIt) {
      peer.fill();
    } else if (object.peer == Peer::leasesIt) {
      ASSERT_EQ(fcntl(peer.get(), F_SETLEASE, F_WRLCK), 0);
    }
    const auto faults = ask(host, request, own / "object", own);
    EXPECT_TRUE(faults == 1 || request.does != Does::read)
        << request.type << " of kind " << std::oct << object.kind << object.linkTo;
  }

  /// Enough on a busy machine; a lease would have to be waited for longer.
  std::chrono::seconds patience_{SANITIZED ? 120 : 30};

private:
  std::chrono::steady_clock::duration slowest_{};
  int requests_ = 0;
};

} // namespace

TEST_F(NeverStuck, OnWhatAnOpenWouldWaitFor) {
  const Descriptor terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  std::array<char, 64> terminalName{};
  ASSERT_TRUE(grantpt(terminal.get()) == 0 && unlockpt(terminal.get()) == 0 &&
              ptsname_r(terminal.get(), terminalName.data(), terminalName.size()) == 0);
  const std::vector<Object> objects = {
      {S_IFIFO},
      {S_IFIFO, 0, Peer::waits},
      {S_IFIFO, 0, Peer::filledIt},
      {S_IFSOCK},
      {S_IFREG, 0, Peer::leasesIt},
      {S_IFLNK, 0, Peer::filledIt, terminalName.data()},
      {S_IFLNK, 0, Peer::none, "object"},
      {S_IFLNK, 0, Peer::none, "object/x"},
      {S_IFLNK, 0, Peer::none, "/dev/null"},
      {S_IFLNK, 0, Peer::none, "/dev/zero"},
      {S_IFLNK, 0, Peer::none, "/dev/full"},
      {S_IFLNK, 0, Peer::none, "/dev/random"},
      {S_IFCHR, makedev(1, 3)}, // null
      {S_IFCHR, makedev(1, 5)}, // zero
      {S_IFCHR, makedev(1, 7)}, // full
      {S_IFBLK, makedev(0, 0)}, // has no driver
  };
  std::signal(SIGIO, SIG_IGN); // tells of a lease that is to be given up
  HostClient host(folder());
  for (const Object& object : objects) {
    for (const Request& request : requests) {
      expectUnstuck(host, object, request);
    }
  }
  EXPECT_EQ(host.finish(), 0);
}

TEST_F(NeverStuck, OnFilesOfTheKernel) {
  if (!fs::exists("/sys/kernel")) {
    GTEST_SKIP() << "/sys is not mounted";
  }
  HostClient host(folder());
  for (const char* top : {"/dev", "/proc/self/task", "/proc", "/proc/self", "/sys/kernel"}) {
    EXPECT_EQ(ask(host, listFolder, top), 0U) << top;
  }
  for (const char* top : {"/proc", "/proc/self", "/sys/kernel"}) {
    for (const auto& entry : fs::directory_iterator(top)) {
      ask(host, openFile, entry.path());
    }
  }
  EXPECT_EQ(host.finish(), 0);
}

TEST_F(NeverStuck, OnFilesOfTheKernelThatItMayNotChange) {
  makeFolder("open");
  fs::permissions(at("open"), fs::perms::all);
  asUnprivilegedUser([this] {
    if (access(CONNECTOR_HOST_PROGRAM, X_OK) != 0) {
      GTEST_SKIP() << "the build folder is closed to ordinary users";
    }
    HostClient host(at("open"));
    for (const char* name :
         {"/proc/self/mem", "/proc/self/fd", "/proc/kmsg", "/sys/kernel/notes"}) {
      for (const Request& request : requests) {
        writeFile("open/a.txt", "a");
        makeFolder("open/sub");
        const bool changes = request.does == Does::write || request.does == Does::take;
        EXPECT_TRUE(ask(host, request, name, at("open")) == 1 || !changes)
            << request.type << ' ' << name;
      }
      fs::remove_all(at("open/sub"));
    }
    printTimes();
  });
}

// In memory, since disks take long to make so many files.
TEST_F(NeverStuck, OnAFolderOfManyEntries) {
  patience_ = std::chrono::minutes(4); // so much is there to do
  onTmpfs(folder(), "size=1g", [this] {
    constexpr int count = 200'000;
    const auto big = makeFolder("big");
    makeFolder("other");
    writeFile("file");
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(link(at("file").c_str(), (big / ("entry" + std::to_string(i))).c_str()), 0);
    }
    HostClient host(folder());
    const auto listed = answer(host, listFolder.type, listFolder.with(big.string(), ""));
    const auto described = Poco::replace<std::string>(listed, R"("location")", "").size();
    EXPECT_EQ(listed.size() - described, (count + 1) * std::string(R"("location")").size());
    for (const Request& request : requests) {
      if (request.does == Does::read || request.does == Does::describe) {
        ask(host, request, big);
      }
    }
    for (const auto& [type, params] :
         {std::pair("RenameFile", R"({"originalFileInfo":"big","newFileInfo":"renamed"})"),
          std::pair("MoveFile", R"({"srcPath":"renamed","destPath":"other"})"),
          std::pair("DeleteFile", R"({"path":"other"})")}) {
      EXPECT_EQ(ask(host, type, params), 0U) << type;
    }
    EXPECT_FALSE(fs::exists(at("other")));
    printTimes();
  });
}

TEST_F(NeverStuck, OnPathsThatAreAsLongAsCanBe) {
  constexpr std::size_t longest = 4095; // bytes
  fs::path parent = at("deep");
  while (parent.string().size() + 512 < longest) {
    parent /= std::string(255, 'd');
  }
  parent /= std::string((longest - parent.string().size()) / 2, 'd');
  const fs::path path = parent / std::string(longest - parent.string().size() - 1, 'x');
  fs::create_directories(parent);
  HostClient host(folder());
  for (const std::string kind : {"file", "folder", "missing"}) {
    for (const Request& request : requests) {
      fs::remove_all(path);
      if (kind == "file") {
        std::ofstream(path) << "x";
      } else if (kind == "folder") {
        fs::create_directory(path);
      }
      const bool works = kind == "file" && request.does == Does::read;
      EXPECT_TRUE(ask(host, request, path, makeOwn()) == 0 || !works) << request.type;
      EXPECT_EQ(ask(host, request, path.string() + "x", makeOwn()), 1U) << request.type;
    }
  }
}

TEST_F(NeverStuck, OnFoldersThatAreAsDeepAsAPathAllows) {
  std::string deepest = at("top").string();
  while (deepest.size() < 4080) {
    deepest += "/dd";
  }
  makeFolder("other");
  HostClient host(folder());
  const auto expect = [&](const char* type, std::string params, std::size_t mostFaults = 0) {
    params = Poco::replace(params, std::string("@"), folder().string());
    EXPECT_LE(ask(host, type, Poco::replace(params, std::string("#"), deepest)), mostFaults)
        << type;
  };

  expect("CreateFile", R"({"file":{"location":"#/f.txt"}})");
  expect("OpenFile", R"({"path":"#/f.txt"})");
  expect("ListFolder", R"({"path":"#"})");
  // It keeps a descriptor open for each level, and there may be fewer.
  expect("MoveFile", R"({"srcPath":"@/top","destPath":"@/other"})", 1);
  // What is moved is deeper than a path can tell then.
  expect("RenameFile", R"({"originalFileInfo":"@/other","newFileInfo":"@/longer-than-other"})");
  expect("DeleteFile", R"({"path":"@/longer-than-other"})");
  EXPECT_FALSE(fs::exists(at("longer-than-other")));
}

} // namespace connector::test
