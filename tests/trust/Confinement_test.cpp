#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/Requests.h"
#include "support/ScratchFolder.h"
#include "support/Shell.h"

#include <Poco/String.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <exception>
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
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

const std::string SECRET = "contents that stay outside";
const std::string UNLISTED = "entry-that-stays-outside";

// {B} below is a directory with `root`, which is the host's current directory, and two
// others of the same contents: `outside`, which the host holds open as 8 and its secret.txt as 9,
// and `root2`, whose name begins with the root's. {P} is a process that is not confined.

constexpr const char* WAYS_TO_FOLDER = R"(
  {B}/outside //{B}///outside /.{B}/./outside /proc/..{B}/outside {B}/outside/folder/.. {B}/root2
  {B}/root/../outside {B}/root/sub/..//./../outside ../outside .//../root2 sub/../../outside
  {B}/root/up/outside {B}/root/slash{B}/outside up/root/up/root2 {B}/root/sub/deep/folder/..
  /proc/self/root{B}/outside /proc/self/cwd/absolute/../root2 /proc/self/task/../cwd/../outside
  /proc/self/fd/8 /proc/self/fd/8/folder/.. /dev/fd/8/../outside /dev/fd/../root{B}/outside
  /proc/1/root{B}/outside /proc/{P}/root{B}/outside)";
constexpr const char* WAYS_TO_FILE = "/proc/self/fd/9 /proc/thread-self/fd/9";

constexpr const char* LINKS_TO_FOLDER = R"(
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

std::vector<std::pair<std::string, std::string>> links(const char* text) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const auto& word : words(text)) {
    const auto arrow = word.find("->");
    pairs.emplace_back(word.substr(0, arrow), word.substr(arrow + 2));
  }
  return pairs;
}

enum class Leads { toFile, toFolder, toEmptyFolder, nowhere };

struct Way {
  std::string path;
  Leads leads;
  bool isEntryOfRoot = false; // a link, which may well be removed or replaced
};

std::vector<Way> allWays() {
  const std::vector<std::pair<std::string, Leads>> ends{
      {"", Leads::toFolder},          {"/secret.txt", Leads::toFile},
      {"/folder//", Leads::toFolder}, {"/empty", Leads::toEmptyFolder},
      {"/missing", Leads::nowhere},   {"/missing/deeper/", Leads::nowhere}};
  std::vector<Way> ways;
  for (const auto& [end, leads] : ends) {
    for (const auto& way : words(WAYS_TO_FOLDER)) {
      ways.push_back({way + end, leads});
    }
    for (const auto& link : links(LINKS_TO_FOLDER)) {
      ways.push_back({link.first + end, leads, end.empty()});
    }
  }
  for (const auto& link : links(LINKS_TO_FILE)) {
    ways.push_back({"{B}/root/" + link.first, Leads::toFile, true});
    ways.push_back({link.first + "/", Leads::nowhere});
  }
  for (const auto& link : links(LINKS_TO_NOTHING)) {
    ways.push_back({link.first, Leads::nowhere, true});
    ways.push_back({"{B}/root/" + link.first + "/deeper", Leads::nowhere});
  }
  for (const auto& way : words(WAYS_TO_FILE)) {
    ways.push_back({way, Leads::toFile});
  }
  return ways;
}

/// A host in a {B} of its own.
class Station {
public:
  Station(fs::path base, const std::string& options)
      : base_(std::move(base)) {
    makeTree();
    const auto arguments = expand(options + " 8< {B}/outside 9< {B}/outside/secret.txt");
    host_.emplace(root(), HostClient::withOptions(arguments));
  }

  std::string ask(const Request& request, const std::string& path) {
    return host_->askForText(request.type, request.with(expand(path), root().string()));
  }

  [[nodiscard]] Disk inside() const { return snapshot(root()); }

  [[nodiscard]] Disk outside() const { return snapshot(base_, root()); }

  /// Keeps the directories that the host holds open.
  void makeTree() {
    for (const char* name : {"root", "outside", "root2"}) {
      fs::create_directories(base_ / name);
      for (const auto& entry : fs::directory_iterator(base_ / name)) {
        fs::remove_all(entry);
      }
    }
    for (const char* folder : {"outside", "outside/folder", "root2", "root2/folder"}) {
      fs::create_directories(base_ / folder / "empty");
      std::ofstream(base_ / folder / UNLISTED) << SECRET;
      std::ofstream(base_ / folder / "secret.txt") << SECRET;
    }
    fs::create_directory(root() / "sub");
    std::ofstream(root() / "a.txt") << "inside";
    std::ofstream(root() / "sub/b.txt") << "deeper inside";
    for (const char* text : {LINKS_TO_FOLDER, LINKS_TO_FILE, LINKS_TO_NOTHING, LINKS_UP}) {
      for (const auto& [name, target] : links(text)) {
        fs::create_symlink(expand(target), root() / name);
      }
    }
  }

private:
  [[nodiscard]] fs::path root() const { return base_ / "root"; }

  [[nodiscard]] std::string expand(const std::string& text) const {
    const auto withBase = Poco::replace(text, std::string("{B}"), base_.string());
    return Poco::replace(withBase, std::string("{P}"), std::to_string(getpid()));
  }

  fs::path base_;
  std::optional<HostClient> host_;
};

/// Whether the request may succeed: a change is refused, and so is any access outside.
bool mayPass(const Request& request, const Way& way, bool readOnly) {
  if (readOnly) {
    return request.does == Does::describe || request.does == Does::read ||
           request.does == Does::list;
  }
  return request.does == Does::describe || (request.does == Does::take && way.isEntryOfRoot) ||
         (request.does == Does::move && way.isEntryOfRoot && way.leads == Leads::toFolder) ||
         (request.does == Does::list && way.leads == Leads::toFile); // to an empty list
}

void expectHeld(Station& station, const Request& request, const Way& way, bool readOnly) {
  const auto inside = station.inside();
  const auto outside = station.outside();
  const auto answer = station.ask(request, way.path);
  const std::string about = request.type + (" " + way.path) + ": " + answer;
  const auto faults = countFaults(*parseObject(answer));
  EXPECT_TRUE(faults == 1 || (faults == 0 && mayPass(request, way, readOnly))) << about;
  EXPECT_EQ(station.outside(), outside) << about;
  const bool isUnchanged = station.inside() == inside;
  EXPECT_TRUE(isUnchanged || !readOnly) << about;
  if (!readOnly) {
    EXPECT_THAT(answer, Not(AnyOf(HasSubstr(SECRET), HasSubstr(UNLISTED)))) << about;
  }
  if (!isUnchanged) {
    station.makeTree();
  }
}

/// Every request with every way. Many at once, since a refused deletion takes a second.
void expectAllHeld(const fs::path& folder, const std::string& options, bool readOnly,
                   const std::vector<Way>& ways) {
  std::atomic<std::size_t> next{0};
  const auto work = [&](std::size_t number) {
    try {
      Station station(folder / std::to_string(number), options);
      for (std::size_t i = next++; i < ways.size() * REQUESTS.size(); i = next++) {
        expectHeld(station, REQUESTS.at(i % REQUESTS.size()), ways.at(i / REQUESTS.size()),
                   readOnly);
      }
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
  };
  std::vector<std::thread> workers;
  for (std::size_t number = 0; number < 16; ++number) {
    workers.emplace_back(work, number);
  }
  for (auto& worker : workers) {
    worker.join();
  }
}

class Confined : public ScratchFolder {
protected:
  void SetUp() override {
    if (!canConfine()) {
      GTEST_SKIP() << "this kernel has no Landlock of version 2";
    }
  }

  /// Runs a shell command in the directory, in which HOST is the program.
  [[nodiscard]] Finished run(const std::string& command) const {
    const std::string program = CONNECTOR_HOST_PROGRAM;
    return runShell("exec 2>&1; cd " + folder().string() + "; " +
                    Poco::replace(command, std::string("HOST"), program));
  }
};

const std::string CHANGE = R"( call UpdateFile '{"file":{"location":"root/a.txt"}}')";

} // namespace

TEST_F(Confined, NoPathLeadsOutOfTheRoot) {
  expectAllHeld(folder(), "--root {B}/root", false, allWays());

  Station unconfined(at("unconfined"), "");
  int waysOut = 0;
  for (const Way& way : allWays()) {
    if (way.leads == Leads::toFile || way.leads == Leads::toFolder) {
      const bool isFile = way.leads == Leads::toFile;
      const auto answer = unconfined.ask(isFile ? openFile : listFolder, way.path);
      const bool leadsOut = answer.find(isFile ? SECRET : UNLISTED) != std::string::npos;
      // Only a privileged process may use that one.
      EXPECT_TRUE(leadsOut || way.path.rfind("/proc/1/", 0) == 0) << way.path << ": " << answer;
      waysOut += leadsOut ? 1 : 0;
    }
  }
  EXPECT_GE(waysOut, 90);
}

TEST_F(Confined, ReadOnlyHostChangesNothing) {
  const std::vector<Way> ways = {
      {"{B}/root/a.txt", Leads::toFile},     {"{B}/root/sub", Leads::toFolder},
      {"{B}/root/missing", Leads::nowhere},  {"{B}/root/absolute", Leads::toFolder},
      {"{B}/root/dangling", Leads::nowhere}, {"{B}/outside/secret.txt", Leads::toFile}};
  for (const std::string options : {"--read-only", "--read-only --root {B}/root"}) {
    expectAllHeld(folder(), options, true, ways);
    Station station(at("reading"), options);
    EXPECT_THAT(station.ask(openFile, "a.txt"), HasSubstr(R"("contents":"inside")"));
    EXPECT_THAT(station.ask(listFolder, "sub"), HasSubstr("b.txt"));
    const bool reads = station.ask(openFile, "file").find(SECRET) != std::string::npos;
    EXPECT_EQ(reads, options == "--read-only");
  }
}

TEST_F(Confined, OneCallIsConfinedAndRootsMustBeDirectories) {
  writeFile("root/a.txt", "inside");
  writeFile("secret.txt", SECRET);
  fs::create_symlink("root", at("link"));
  const auto expectEnd = [this](const std::string& arguments, int status, const char* output) {
    const auto finished = run("HOST " + arguments);
    EXPECT_EQ(finished.status, status) << arguments << finished.output;
    EXPECT_THAT(finished.output, AllOf(HasSubstr(output), Not(HasSubstr(SECRET)))) << arguments;
    EXPECT_EQ(readFile("root/a.txt"), "inside") << arguments;
  };
  const std::string read = R"( call OpenFile '{"path":"../secret.txt"}')";
  expectEnd("--root $PWD/root/../root/." + read, 1, "FILE_ACCESS_DENIED");
  expectEnd("--read-only --root ." + CHANGE, 1, "FILE_ACCESS_DENIED");
  expectEnd(R"(--root link <&- call OpenFile '{"path":"a.txt"}')", 0, "inside");
  expectEnd("--root . --root missing" + CHANGE, 2, ": No such file or directory\n");
  expectEnd("--root root/a.txt" + CHANGE, 2, "root/a.txt: Not a directory\n");
  expectEnd("--root ''" + CHANGE, 2, "root");
}

TEST_F(Confined, WhereTheKernelCannotNothingIsStarted) {
  if (!canInject()) {
    GTEST_SKIP() << "strace is not installed, too old or not allowed to trace";
  }
  writeFile("root/a.txt", "inside");
  const std::string missing = "need a kernel with Landlock";
  for (const auto& [failure, text] : {std::pair("create_ruleset:error=ENOSYS", missing),
                                      std::pair("create_ruleset:error=EOPNOTSUPP", missing),
                                      std::pair("add_rule:error=EINVAL", std::string()),
                                      std::pair("restrict_self:error=EPERM", std::string())}) {
    for (const std::string options : {"--read-only", "--root ."}) {
      const std::string launcher = "strace -o /dev/null -e inject=landlock_";
      const auto finished = run(launcher + failure + " HOST " + options + CHANGE);
      EXPECT_EQ(finished.status, 2) << failure;
      EXPECT_THAT(finished.output, HasSubstr(text));
      EXPECT_EQ(readFile("root/a.txt"), "inside") << failure;
    }
  }
}

} // namespace connector::test
