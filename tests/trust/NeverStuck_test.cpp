#include "support/HostClient.h"
#include "support/Requests.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;

/// The action of this process on an object while the host uses it.
enum class Peer { none, opensIt, fillsIt, leasesIt };

/// An object that could block a process that opens, reads or writes it, or keep it busy for ever.
struct Obstacle {
  mode_t kind;
  Peer peer;
  std::string linkTarget = {};
};

class NeverStuck : public ScratchDirectory {
protected:
  /// Returns the number of faults. Expects that the host executes the next request, too.
  static std::size_t faultsOf(HostClient& host, const std::string& type,
                              const std::string& params) {
    const auto faults = countFaults(*host.ask(type, params));
    EXPECT_LE(faults, 1U);
    EXPECT_EQ(countFaults(*host.ask("ListFolder", R"({"path":"."})")), 0U) << type << params;
    return faults;
  }

  void expectUnstuck(HostClient& host, const Obstacle& obstacle, const Request& request) {
    fs::remove_all(at("own"));
    writeFile("own/a.txt", "a");
    writeFile("own/sub/b.txt", "b");
    const fs::path object = at("own/object");
    ASSERT_EQ(S_ISLNK(obstacle.kind) ? symlink(obstacle.linkTarget.c_str(), object.c_str())
                                     : mknod(object.c_str(), obstacle.kind | 0666U, 0),
              0);
    const int peer = obstacle.peer == Peer::none
                         ? -1
                         : open(object.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (obstacle.peer == Peer::fillsIt) {
      while (write(peer, "x", 1) > 0) {
      }
      ASSERT_EQ(errno, EAGAIN);
    } else if (obstacle.peer == Peer::leasesIt) {
      ASSERT_EQ(fcntl(peer, F_SETLEASE, F_WRLCK), 0);
    }
    const auto faults =
        faultsOf(host, request.type, request.with(object.string(), at("own").string()));
    EXPECT_TRUE(faults == 1 || request.does != Does::read)
        << request.type << " of kind " << std::oct << obstacle.kind << obstacle.linkTarget;
    close(peer);
  }
};

} // namespace

TEST_F(NeverStuck, OnAnObjectThatBlocks) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  std::array<char, 64> terminalName{};
  ASSERT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0 &&
              ptsname_r(terminal, terminalName.data(), terminalName.size()) == 0);
  const std::vector<Obstacle> obstacles = {
      {S_IFIFO, Peer::none},
      {S_IFIFO, Peer::opensIt},
      {S_IFIFO, Peer::fillsIt},
      {S_IFREG, Peer::leasesIt},
      {S_IFLNK, Peer::fillsIt, terminalName.data()},
      {S_IFLNK, Peer::none, "/dev/zero"},
      {S_IFLNK, Peer::none, "/dev/full"},
      {S_IFLNK, Peer::none, "/dev/random"},
  };
  std::signal(SIGIO, SIG_IGN); // by which the kernel requests the lease back
  HostClient host(directory());
  for (const Obstacle& obstacle : obstacles) {
    for (const Request& request : REQUESTS) {
      expectUnstuck(host, obstacle, request);
    }
  }
  EXPECT_EQ(host.finish(), 0);
  close(terminal);
}

TEST_F(NeverStuck, ButWaitsForALeaseThatIsGivenUp) {
  static int leased = -1;
  std::signal(SIGIO, [](int) { fcntl(leased, F_SETLEASE, F_UNLCK); });
  leased = open(writeFile("a.txt", "a").c_str(), O_RDWR | O_CLOEXEC);
  makeDirectory("sub");
  HostClient host(directory());
  for (const auto& [type, params] :
       {std::pair("OpenFile", R"({"path":"a.txt"})"),
        std::pair("UpdateFile", R"({"file":{"location":"a.txt"}})"),
        std::pair("MoveFile", R"({"srcPath":"a.txt","destPath":"sub"})")}) {
    ASSERT_EQ(fcntl(leased, F_SETLEASE, F_WRLCK), 0);
    EXPECT_EQ(faultsOf(host, type, params), 0U) << type;
  }
  std::signal(SIGIO, SIG_IGN);
  close(leased);
}

} // namespace connector::test
