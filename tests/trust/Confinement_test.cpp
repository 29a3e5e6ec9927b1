#include "host/Confinement.h"
#include "support/ChildProcess.h"
#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/Requests.h"
#include "support/ScratchDirectory.h"

#include <Poco/String.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

const std::string SECRET = "contents that stay outside";
const std::string UNLISTED = "entry-that-stays-outside";
const auto SHOWS_OUTSIDE = AnyOf(HasSubstr(SECRET), HasSubstr(UNLISTED));

// {B} below is a directory with `root`, which is the host's current directory, and with `outside`
// and `root2`, which have the same entries. The host holds `outside` open as 8 and its secret.txt
// as 9. {P} is a process that is not confined.

constexpr const char* WAYS_TO_DIRECTORY = R"(
  {B}/outside //{B}///outside /.{B}/./outside /proc/..{B}/outside {B}/outside/folder/.. {B}/root2
  {B}/root/../outside {B}/root/sub/..//./../outside ../outside .//../root2 sub/../../outside
  {B}/root/up/outside {B}/root/slash{B}/outside up/root/up/root2 {B}/root/sub/deep/folder/..
  /proc/self/root{B}/outside /proc/self/cwd/absolute/../root2 /proc/self/task/../cwd/../outside
  /proc/self/fd/8 /proc/self/fd/8/folder/.. /dev/fd/8/../outside /dev/fd/../root{B}/outside
  /proc/1/root{B}/outside /proc/{P}/root{B}/outside)";
constexpr const char* WAYS_TO_FILE = "/proc/self/fd/9 /proc/thread-self/fd/9";

constexpr const char* LINKS_TO_DIRECTORY = R"(
  absolute->{B}/outside relative->../outside chain->relative sub/deep->../../outside
  roundabout->../root/../root2/../outside/./ sibling->../root2 by-root->/proc/self/root{B}/outside
  by-fd->/proc/self/fd/8)";
constexpr const char* LINKS_TO_FILE = R"(
  file->{B}/outside/secret.txt file-relative->../outside/secret.txt file-chain->file-relative
  file-by-link->absolute/secret.txt file-by-fd->/proc/self/fd/9)";
constexpr const char* LINKS_TO_NOTHING = R"(
  dangling->{B}/outside/missing dangling-chain->dangling dangling-by-link->absolute/folder/missing)";
constexpr const char* LINKS_UP = "up->.. slash->/";

std::vector<std::string> words(const char* text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

/// Returns pairs of a name and a target.
std::vector<std::pair<std::string, std::string>> links(const char* text) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const auto& word : words(text)) {
    const auto arrow = word.find("->");
    pairs.emplace_back(word.substr(0, arrow), word.substr(arrow + 2));
  }
  return pairs;
}

/// A path that leads out of the root.
struct Way {
  std::string path;
  bool isReadable;           // by a host that is not confined
  bool isLinkInRoot = false; // which may be renamed, replaced or deleted
};

std::vector<Way> allWays() {
  const std::vector<std::pair<std::string, bool>> ends{
      {"", true},        {"/secret.txt", true}, {"/folder//", true},
      {"/empty", false}, {"/missing", false},   {"/missing/deeper/", false}};
  std::vector<Way> ways;
  for (const auto& [end, isReadable] : ends) {
    for (const auto& way : words(WAYS_TO_DIRECTORY)) {
      ways.push_back({way + end, isReadable});
    }
    for (const auto& link : links(LINKS_TO_DIRECTORY)) {
      ways.push_back({link.first + end, isReadable, end.empty()});
    }
  }
  for (const bool isReadable : {true, false}) {
    for (const auto& link : links(isReadable ? LINKS_TO_FILE : LINKS_TO_NOTHING)) {
      ways.push_back({"{B}/root/" + link.first, isReadable, true});
      ways.push_back({link.first + "/", false});
    }
  }
  for (const auto& way : words(WAYS_TO_FILE)) {
    ways.push_back({way, true});
  }
  return ways;
}

/// A host in a {B} of its own.
class HostInTree {
public:
  HostInTree(fs::path base, const std::string& options)
      : base_(std::move(base)) {
    makeTree();
    const auto arguments = expand(options + " 8< {B}/outside 9< {B}/outside/secret.txt");
    host_.emplace(root(), HostClient::withOptions(arguments));
  }

  std::string ask(const Request& request, const std::string& path) {
    return host_->askForText(request.type, request.with(expand(path), root().string()));
  }

  /// Expects that the request changes and returns nothing from outside. It must fail unless it
  /// describes, lists or changes a link in the root.
  void expectConfined(const Request& request, const Way& way) {
    const auto inside = snapshot(root());
    const auto outside = snapshot(base_, root());
    const auto answer = ask(request, way.path);
    const std::string about = request.type + (" " + way.path) + ": " + answer;
    const bool mayPass = request.does == Does::describe || request.does == Does::list ||
                         (way.isLinkInRoot && request.does == Does::change);
    const auto faults = countFaults(*parseObject(answer));
    EXPECT_TRUE(faults == 1 || (faults == 0 && mayPass)) << about;
    EXPECT_EQ(snapshot(base_, root()), outside) << about;
    EXPECT_THAT(answer, Not(SHOWS_OUTSIDE)) << about;
    if (snapshot(root()) != inside) {
      makeTree();
    }
  }

private:
  [[nodiscard]] fs::path root() const { return base_ / "root"; }

  [[nodiscard]] std::string expand(const std::string& text) const {
    const auto withBase = Poco::replace(text, std::string("{B}"), base_.string());
    return Poco::replace(withBase, std::string("{P}"), std::to_string(getpid()));
  }

  /// Keeps the directories that the host holds open.
  void makeTree() const {
    for (const char* name : {"root", "outside", "root2"}) {
      fs::create_directories(base_ / name);
      for (const auto& entry : fs::directory_iterator(base_ / name)) {
        fs::remove_all(entry);
      }
    }
    for (const char* directory : {"outside", "outside/folder", "root2", "root2/folder"}) {
      fs::create_directories(base_ / directory / "empty");
      std::ofstream(base_ / directory / UNLISTED) << SECRET;
      std::ofstream(base_ / directory / "secret.txt") << SECRET;
    }
    fs::create_directory(root() / "sub");
    std::ofstream(root() / "a.txt") << "inside";
    std::ofstream(root() / "sub/b.txt") << "deeper inside";
    for (const char* text : {LINKS_TO_DIRECTORY, LINKS_TO_FILE, LINKS_TO_NOTHING, LINKS_UP}) {
      for (const auto& [name, target] : links(text)) {
        fs::create_symlink(expand(target), root() / name);
      }
    }
  }

  fs::path base_;
  std::optional<HostClient> host_;
};

} // namespace

class Confined : public ScratchDirectory {
protected:
  void SetUp() override {
    if (!canConfine()) {
      GTEST_SKIP() << "this kernel has no Landlock of version 2";
    }
  }
};

TEST_F(Confined, NoPathLeadsOutOfTheRoot) {
  const auto ways = allWays();
  constexpr std::size_t hosts = 16; // because a refused deletion takes a second
  const auto sendEveryRequest = [&](std::size_t first) {
    try {
      HostInTree host(at(std::to_string(first)), "--root {B}/root");
      for (auto way = first; way < ways.size(); way += hosts) {
        for (const Request& request : REQUESTS) {
          host.expectConfined(request, ways[way]);
        }
      }
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t first = 0; first < hosts; ++first) {
    threads.emplace_back(sendEveryRequest, first);
  }
  for (auto& thread : threads) {
    thread.join();
  }

  HostInTree unconfined(at("unconfined"), "");
  for (const Way& way : ways) {
    const auto answers = unconfined.ask(openFile, way.path) + unconfined.ask(listFolder, way.path);
    const bool leadsOut = testing::Value(answers, SHOWS_OUTSIDE);
    // Only a privileged process may use /proc/1.
    EXPECT_TRUE(leadsOut || !way.isReadable || way.path.rfind("/proc/1/", 0) == 0) << way.path;
  }
}

// Opens files directly, because the file service refuses most paths outside before the kernel does.
TEST_F(Confined, ProcessOpensNothingOutsideAndOnlyReadsIfReadOnly) {
  writeFile("root/file");
  writeFile("outside/file");
  for (const bool readOnly : {false, true}) {
    inChildProcess([this, readOnly] {
      EXPECT_EQ(host::confine({at("root")}, readOnly).size(), 1U);
      const auto errorOf = [this](const char* name, int flags) {
        return ::open(at(name).c_str(), flags | O_CLOEXEC) < 0 ? errno : 0;
      };
      EXPECT_EQ(errorOf("outside/file", O_RDONLY), EACCES);
      EXPECT_EQ(errorOf("outside/file", O_WRONLY), EACCES);
      EXPECT_EQ(errorOf("outside", O_RDONLY | O_DIRECTORY), EACCES);
      EXPECT_EQ(errorOf("root/file", O_RDONLY), 0);
      EXPECT_EQ(errorOf("root/file", O_WRONLY), readOnly ? EACCES : 0);
    });
  }
}

} // namespace connector::test
