#include "support/ChildProcess.h"
#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/ScratchFolder.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;

/// The result of a request.
struct Outcome {
  std::string condition;       // of the fault, empty without one
  std::string response;        // without values that the outcome does not determine
  int descriptorsLeftOpen = 0; // negative when the host closed one that it had before
};

/// Checks that hold for any request in which anything fails.
class FaultTest : public ScratchFolder {
protected:
  /// Sends the request between two others, which show the host's open descriptors and that it still
  /// serves. Throws for a JSON-RPC error and for more than one fault or condition.
  static Outcome outcomeOf(HostClient& host, const std::string& type, const std::string& params) {
    const int before = openDescriptors(host);
    const auto result = resultOf(host.ask(type, params));
    const auto faults = result->getArray("messageFaults");
    Outcome outcome;
    outcome.response = withoutChance(textOf(result));
    if (faults->size() > 0) {
      const auto conditions = faults->getObject(0)->getArray("faultConditions");
      if (faults->size() > 1 || conditions->size() != 1) {
        throw std::runtime_error("not one fault with one condition: " + outcome.response);
      }
      outcome.condition = conditions->getObject(0)->getValue<std::string>("faultId");
    }
    outcome.descriptorsLeftOpen = openDescriptors(host) - before;
    return outcome;
  }

  /// After a failure every file is whole at its old or new path, nothing else has appeared, and
  /// only the request's own contents may be there in part. `after` is the disk after a success.
  static void expectNothingLost(const Disk& before, const Disk& after, const Disk& now) {
    for (const auto& [path, contents] : now) {
      EXPECT_TRUE(holdsAt(before, path, contents) || holdsAt(after, path, contents) ||
                  isPartOfNewContents(before, after, path, contents))
          << path << " was left behind with " << contents.size() << " bytes";
    }
    for (const auto& [path, contents] : before) {
      EXPECT_TRUE(now.count(path) > 0 || after.count(path) == 0) << path << " is gone";
      EXPECT_TRUE(holds(now, contents) || !holds(after, contents)) << path << " lost its contents";
    }
  }

private:
  static Poco::JSON::Object::Ptr resultOf(const Poco::JSON::Object::Ptr& answer) {
    auto result = answer->getObject("result");
    if (result.isNull()) {
      throw std::runtime_error("no result: " + textOf(answer));
    }
    return result;
  }

  static int openDescriptors(HostClient& host) {
    const auto listed = resultOf(host.ask("ListFolder", R"({"path":"/proc/self/fd"})"));
    if (listed->getArray("messageFaults")->size() > 0) {
      throw std::runtime_error("the next request fails: " + textOf(listed));
    }
    return static_cast<int>(listed->getArray("folderContents")->size());
  }

  /// A file whose permissions or existence cannot be determined may be described either way.
  static std::string withoutChance(std::string response) {
    const Poco::RegularExpression chance(
        R"rx("(modified":\d+|(canWrite|deleted)":(true|false)))rx");
    chance.subst(response, "", Poco::RegularExpression::RE_GLOBAL);
    return response;
  }

  static bool holds(const Disk& disk, const std::string& contents) {
    return std::any_of(disk.begin(), disk.end(),
                       [&](const auto& entry) { return entry.second == contents; });
  }

  static bool holdsAt(const Disk& disk, const std::string& path, const std::string& contents) {
    const auto entry = disk.find(path);
    return entry != disk.end() && entry->second == contents;
  }

  static bool isPartOfNewContents(const Disk& before, const Disk& after, const std::string& path,
                                  const std::string& contents) {
    const auto entry = after.find(path);
    return entry != after.end() && !holds(before, entry->second) &&
           entry->second.compare(0, contents.size(), contents) == 0;
  }
};

struct Scenario {
  const char* name;
  const char* type;
  std::string params;                   // "@" is the tree that it works on
  std::vector<std::string> always = {}; // further options of strace
  std::string options = {};             // of the host

  friend std::ostream& operator<<(std::ostream& out, const Scenario& scenario) {
    return out << scenario.name;
  }
};

const std::string OVERWRITE =
    R"({"file":{"location":"@/old.txt","contents":"new contents"},"updateIfExists":true})";
const std::string MOVE = R"({"srcPath":"@/full/first.bin","destPath":"@/empty"})";

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = {
      {"CreateFile", "CreateFile",
       R"({"file":{"location":"@/new.txt","contents":"new contents"}})"},
      {"CreateFileInMissingFolders", "CreateFile",
       R"({"file":{"location":"@/a/b/new.txt","contents":"new contents"}})"},
      {"CreateFileOverAnother", "CreateFile", OVERWRITE},
      {"CreateFileOverAnotherInARoot", "CreateFile", OVERWRITE, {}, "--root /"},
      {"CreateFolder", "CreateFile", R"({"file":{"location":"@/made","isDirectory":true}})"},
      {"OpenFileByRelativePath", "OpenFile", R"({"path":"tree/old.txt"})"},
      {"OpenOrCreateMissingFile", "OpenOrCreateFile", R"({"path":"@/new.txt"})"},
      {"OpenOrCreateExistingFile", "OpenOrCreateFile", R"({"path":"@/old.txt"})"},
      {"UpdateFile", "UpdateFile", R"({"file":{"location":"@/old.txt","contents":"newer"}})"},
      {"CloseFile", "CloseFile", R"({"file":{"location":"@/old.txt"},"updateFile":false})"},
      {"RenameFileIntoMissingFolders", "RenameFile",
       R"({"originalFileInfo":"@/full/first.bin","newFileInfo":"@/a/b/other.bin"})"},
      {"MoveFile", "MoveFile", MOVE},
      {"MoveFileWithoutHelpOfTheKernel",
       "MoveFile",
       MOVE,
       {"-e", "inject=copy_file_range:error=EINVAL"}},
      {"MoveFolder", "MoveFile", R"({"srcPath":"@/full","destPath":"@/empty"})"},
      {"DeleteFile", "DeleteFile", R"({"path":"@/old.txt"})"},
      {"DeleteFolder", "DeleteFile", R"({"path":"@/full"})"},
      {"ListFolder", "ListFolder", R"({"path":"@/full"})"},
  };
  return all;
}

/// A system call of the request under test.
struct Call {
  std::string name;
  int occurrence; // counted from the start of the host, from 1
  std::string line;
  std::string opening = {}; // of a close: the line that opened its descriptor

  [[nodiscard]] bool has(const char* flag) const { return line.find(flag) != std::string::npos; }
};

/// In place of an error: how many bytes a write takes.
const std::string FEW = "4";
const std::string NONE = "0";

struct Injection {
  const Call& call;
  std::string error;
  int times = 1;

  [[nodiscard]] bool isShort() const { return error == FEW; }

  /// True for the failed close of a new copy: its bytes may not have reached the disk.
  [[nodiscard]] bool leavesCopyInDoubt() const {
    return call.opening.find("O_EXCL") != std::string::npos;
  }

  [[nodiscard]] bool isFullDisk() const { return error == "ENOSPC" || error == "EDQUOT"; }

  [[nodiscard]] std::string text() const {
    return "inject=" + call.name + (isShort() || error == NONE ? ":retval=" : ":error=") + error +
           ":when=" + std::to_string(call.occurrence) + ".." +
           std::to_string(call.occurrence + times - 1);
  }
};

/// With which errors each call can fail; none for those that have nothing to do with files. A call
/// that is in no row is a failure of the test, so that none is forgotten.
std::vector<std::string> errorsOf(const Call& call) {
  struct Row {
    std::set<std::string> names;
    std::vector<std::string> errors;
  };

  static const std::vector<Row> rows = {
      {{"openat"}, {"EIO", "EACCES", "EMFILE"}},
      {{"newfstatat", "fstat", "faccessat2", "statfs", "fstatfs", "readlink", "readlinkat"},
       {"EIO", "EACCES"}},
      {{"mkdir", "mkdirat", "rename", "renameat"}, {"EIO", "EACCES", "ENOSPC"}},
      {{"renameat2"},
       {"EIO", "EACCES", "ENOSPC", "EINVAL", "ENOSYS"}}, // the last two: a plain rename
      {{"unlink", "unlinkat", "rmdir"}, {"EIO", "EACCES", "EBUSY"}},
      {{"write"}, {"EIO", "ENOSPC", "EDQUOT", "EINTR", FEW, NONE}},
      {{"copy_file_range"}, {"EIO", "ENOSPC", "EDQUOT", "EINTR"}},
      {{"read", "ftruncate", "close"}, {"EIO", "EINTR"}},
      {{"lseek", "fchmod", "utimensat", "getdents64", "fgetxattr", "fremovexattr", "symlink"},
       {"EIO"}},
      {{"fcntl"}, {"EACCES"}},
      {{"getcwd"}, {"ENOENT"}},
      {{"brk", "clock_nanosleep", "futex", "geteuid", "madvise", "mmap", "mprotect", "munmap",
        "poll", "sched_yield"},
       {}},
  };
  const auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const Row& one) { return one.names.count(call.name) > 0; });
  if (row == rows.end()) {
    ADD_FAILURE() << "add the errors of " << call.line;
    return {};
  }
  std::vector<std::string> errors = row->errors;
  if (call.name == "openat" && !call.has("O_PATH")) { // which waits for nothing
    errors.emplace_back("EINTR");
  }
  if (call.has("O_NONBLOCK") && !call.has("O_DIRECTORY")) {
    errors.emplace_back("EAGAIN"); // another process is giving up its lease
  }
  if (call.has("O_CREAT")) {
    errors.emplace_back("ENOSPC");
  }
  if (call.has("old.txt\", F_OK")) { // as if the file appeared only afterwards
    errors.emplace_back("ENOENT");
  }
  return errors;
}

/// Whether the call is about a standard stream.
bool isConversation(const std::string& line) {
  const std::string argument = line.substr(line.find('(') + 1, 2);
  return argument == "0," || argument == "1," || argument == "2,";
}

class SystemCalls : public FaultTest, public ::testing::WithParamInterface<Scenario> {
protected:
  static void SetUpTestSuite() {
    // Starting a process closes every descriptor up to the limit one by one, which may be a
    // million.
    const rlimit few{256, 256};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  }

  void SetUp() override {
    if (SANITIZED) {
      GTEST_SKIP() << "a sanitizer makes system calls of its own, and not always the same";
    }
    if (!canInject()) {
      GTEST_SKIP() << "strace is not installed, too old or not allowed to trace";
    }
    if (!GetParam().options.empty() && !canConfine()) {
      GTEST_SKIP() << "this kernel has no Landlock of version 2";
    }
  }

  /// Runs the scenario on a fresh tree.
  Outcome run(const std::string& injection = {}) {
    makeTree();
    HostClient host(folder(), launcher(injection));
    const auto params = Poco::replace<std::string>(GetParam().params, "@", at("tree"));
    Outcome outcome = outcomeOf(host, GetParam().type, params);
    EXPECT_EQ(host.finish(), 0);
    return outcome;
  }

  /// The disk after the last run.
  [[nodiscard]] Disk left() const {
    Disk entries = disk();
    entries.erase("log");
    entries.erase("errors");
    return entries;
  }

  [[nodiscard]] std::string permissions() const {
    return runShell("cd " + at("tree").string() + "; find . -printf '%p %m\\n' | sort").output;
  }

  /// The calls of the last run that its request made, other than those to talk to the client.
  [[nodiscard]] std::vector<Call> callsOfRequest() const {
    std::vector<Call> found;
    forEachCall([&](const Call& call, int request) {
      if (request == REQUEST_UNDER_TEST && !isConversation(call.line)) {
        found.push_back(call);
      }
    });
    return found;
  }

  /// Whether the request must succeed all the same.
  [[nodiscard]] static bool isTolerated(const Injection& injection) {
    const bool interrupted = injection.error == "EINTR" && injection.call.name != "close";
    return interrupted || injection.isShort() || injection.error == "EAGAIN" ||
           (injection.times == 1 && isTriedAgain(injection.call));
  }

  static std::vector<Injection> injectionsInto(const std::vector<Call>& calls) {
    constexpr int attempts = 101; // of a deletion
    std::vector<Injection> all;
    std::set<std::string> persistent;
    for (const Call& call : calls) {
      const auto errors = errorsOf(call);
      for (const auto& error : errors) {
        all.push_back({call, error});
      }
      if (isTriedAgain(call) && persistent.insert(call.name).second) {
        all.push_back({call, errors.front(), attempts});
      }
    }
    return all;
  }

  /// Whether the last run failed there and nowhere else.
  void expectInjected(const Injection& injection) const {
    int inRequest = 0;
    int elsewhere = 0;
    forEachCall([&](const Call& call, int request) {
      const bool hit = call.name == injection.call.name && call.has("(INJECTED)");
      (request == REQUEST_UNDER_TEST ? inRequest : elsewhere) += hit ? 1 : 0;
    });
    EXPECT_EQ(inRequest, injection.times);
    EXPECT_EQ(elsewhere, 0);
  }

  /// The host wrote the rest: strace does not write the bytes that it reports as written.
  void expectRestWritten(const Disk& after) const {
    int shorter = 0;
    for (const auto& [path, contents] : left()) {
      const std::string& whole = after.at(path);
      EXPECT_TRUE(contents == whole || contents == whole.substr(std::stoul(FEW))) << path;
      shorter += contents == whole ? 0 : 1;
    }
    EXPECT_EQ(shorter, 1);
  }

  void makeTree() {
    fs::remove_all(at("tree"));
    writeFile("tree/old.txt", "old contents");
    // More than one block of a copy that goes block by block.
    writeFile("tree/full/first.bin", std::string(70'000, 'x'));
    fs::permissions(at("tree/full/first.bin"), fs::perms{0640});
    writeFile("tree/full/sub/second.txt", "second contents");
    if (std::string(GetParam().type) == "MoveFile") {
      // A listing would describe it all the same, but as a link that cannot be followed.
      fs::create_directory_symlink("sub", at("tree/full/link"));
    }
    makeFolder("tree/empty");
  }

private:
  static constexpr int REQUEST_UNDER_TEST = 2; // see outcomeOf

  /// Of the last run, with the number of the request in hand.
  template <typename Visit>
  void forEachCall(const Visit& visit) const {
    std::map<std::string, int> occurrences;
    std::map<std::string, std::string> openings; // by descriptor
    int request = 0;
    std::ifstream log(at("log"));
    for (std::string line; std::getline(log, line);) {
      const std::string name = line.substr(0, line.find('('));
      request += line.rfind("read(0,", 0) == 0 ? 1 : 0;
      if (name == "openat") {
        openings[line.substr(line.rfind(' ') + 1)] = line;
      }
      Call call{name, ++occurrences[name], line};
      if (name == "close") {
        call.opening = openings[line.substr(6, line.find(')') - 6)];
      }
      visit(call, request);
    }
  }

  /// A deletion tries these again after any error.
  [[nodiscard]] static bool isTriedAgain(const Call& call) {
    static const std::set<std::string> names = {"openat", "unlinkat", "getdents64"};
    return std::string(GetParam().type) == "DeleteFile" &&
           (names.count(call.name) > 0 || call.has("AT_EMPTY_PATH"));
  }

  static std::vector<std::string> launcher(const std::string& injection) {
    std::vector<std::string> command = {
        "sh", "-c", R"(exec "$@" 2> errors )" + GetParam().options, "sh", "strace", "-o", "log"};
    command.insert(command.end(), GetParam().always.begin(), GetParam().always.end());
    if (!injection.empty()) {
      command.insert(command.end(), {"-e", injection});
    }
    return command;
  }
};

TEST_P(SystemCalls, MayFailOneByOne) {
  const Outcome success = run();
  ASSERT_EQ(success.condition, "");
  ASSERT_EQ(success.descriptorsLeftOpen, 0);
  const std::vector<Call> calls = callsOfRequest();
  for (const Call& call : calls) { // a copy is its owner's until it has its final mode
    EXPECT_TRUE(!call.has("O_EXCL") || call.has(", 0600) = ")) << call.line;
  }
  const Disk after = left();
  const auto permissionsAfter = permissions();
  makeTree();
  const Disk before = left();

  for (const Injection& injection : injectionsInto(calls)) {
    SCOPED_TRACE(injection.text() + " in " + injection.call.line);
    Outcome outcome;
    ASSERT_NO_THROW(outcome = run(injection.text())) << readFile("errors");
    expectInjected(injection);
    // strace does not execute a call that it makes fail, and a close may not be tried again.
    EXPECT_EQ(outcome.descriptorsLeftOpen, injection.call.name == "close" ? 1 : 0);
    if (injection.times > 1 || injection.leavesCopyInDoubt()) {
      EXPECT_NE(outcome.condition, "");
    }
    if (isTolerated(injection)) {
      EXPECT_EQ(outcome.condition, "");
    }
    if (injection.error == NONE) {
      EXPECT_EQ(outcome.condition, "FILE_IO_GENERIC");
    }
    if (injection.isFullDisk()) {
      EXPECT_THAT(outcome.condition, testing::AnyOf("", "OVER_DISK_QUOTA"));
    }
    if (injection.isShort()) {
      expectRestWritten(after);
      continue;
    }
    if (!outcome.condition.empty()) {
      expectNothingLost(before, after, left());
      continue;
    }
    EXPECT_EQ(outcome.response, success.response);
    EXPECT_TRUE(left() == after) << "success, and not all is done";
    EXPECT_EQ(permissions(), permissionsAfter);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, SystemCalls, ::testing::ValuesIn(scenarios()),
                         ::testing::PrintToStringParamName());

struct Row {
  const char* name;
  const char* disk; // options of its tmpfs, which holds one small file
  const char* type;
  const char* params; // "@" is that disk, "$" a directory outside, "#" contents too big for it
  bool isSeenAhead = false; // by the file service, which has its own text for it

  friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

class FullDisk : public FaultTest, public ::testing::WithParamInterface<Row> {
protected:
  void makeOutside() {
    writeFile("outside/small.txt", "small contents");
    writeFile("outside/folder/aa.txt", "aa contents");
    writeFile("outside/folder/bb.bin", std::string(200'001, 'b'));
    writeFile("outside/folder/cc.txt", "cc contents");
  }

  Outcome run() {
    HostClient host(folder());
    std::string params = GetParam().params;
    Poco::replaceInPlace(params, "@", at("disk").c_str());
    Poco::replaceInPlace(params, "$", at("outside").c_str());
    Poco::replaceInPlace(params, "#", std::string(200'002, 'n').c_str());
    Outcome outcome = outcomeOf(host, GetParam().type, params);
    EXPECT_EQ(host.finish(), 0);
    return outcome;
  }
};

TEST_P(FullDisk, IsReportedAndLosesNothing) {
  makeOutside();
  writeFile("disk/old.txt", "old contents");
  ASSERT_EQ(run().condition, "") << "with enough space";
  const Disk after = disk();
  makeOutside();

  onTmpfs(at("disk"), GetParam().disk, [&] {
    writeFile("disk/old.txt", "old contents");
    const Disk before = disk();
    const Outcome outcome = run();
    EXPECT_EQ(outcome.condition, "OVER_DISK_QUOTA") << outcome.response;
    const std::string ahead = at("disk").string() + " disk quota exceeded.";
    EXPECT_EQ(outcome.response.find(ahead) != std::string::npos, GetParam().isSeenAhead);
    EXPECT_EQ(outcome.descriptorsLeftOpen, 0);
    expectNothingLost(before, after, disk());
  });
}

constexpr const char* FEW_BLOCKS = "size=64k";
constexpr const char* NO_INODE = "nr_inodes=2";

INSTANTIATE_TEST_SUITE_P(
    Of, FullDisk,
    ::testing::Values(Row{"CreateFile", FEW_BLOCKS, "CreateFile",
                          R"({"file":{"location":"@/new.txt","contents":"#"}})"},
                      Row{"UpdateFile", FEW_BLOCKS, "UpdateFile",
                          R"({"file":{"location":"@/old.txt","contents":"#"}})"},
                      Row{"MoveFolder", FEW_BLOCKS, "MoveFile",
                          R"({"srcPath":"$/folder","destPath":"@"})"},
                      Row{"CreateFolderWithoutInodes", NO_INODE, "CreateFile",
                          R"({"file":{"location":"@/made","isDirectory":true}})"},
                      Row{"MoveFileWithoutInodes", NO_INODE, "MoveFile",
                          R"({"srcPath":"$/small.txt","destPath":"@"})"},
                      Row{"OpenOrCreateFileWithoutInodes", NO_INODE, "OpenOrCreateFile",
                          R"({"path":"@/new.txt"})", true}),
    ::testing::PrintToStringParamName());

} // namespace

} // namespace connector::test
