#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/ScratchDirectory.h"

#include <Poco/JSON/Array.h>
#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <utility>
#include <vector>

namespace connector::test {

namespace {

namespace fs = std::filesystem;

struct Scenario {
  const char* name;
  const char* type;
  std::string params;             // "@" is the tree that the request works on
  std::string straceOptions = {}; // in every run
  std::string hostOptions = {};

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
      {"CreateFileInMissingDirectories", "CreateFile",
       R"({"file":{"location":"@/a/b/new.txt","contents":"new contents"}})"},
      {"CreateFileOverAnother", "CreateFile", OVERWRITE},
      {"CreateFileOverAnotherInARoot", "CreateFile", OVERWRITE, "", "--root /"},
      {"CreateDirectory", "CreateFile", R"({"file":{"location":"@/made","isDirectory":true}})"},
      {"OpenFileByRelativePath", "OpenFile", R"({"path":"tree/old.txt"})"},
      {"OpenOrCreateMissingFile", "OpenOrCreateFile", R"({"path":"@/new.txt"})"},
      {"OpenOrCreateExistingFile", "OpenOrCreateFile", R"({"path":"@/old.txt"})"},
      {"UpdateFile", "UpdateFile", R"({"file":{"location":"@/old.txt","contents":"newer"}})"},
      {"CloseFile", "CloseFile", R"({"file":{"location":"@/old.txt"},"updateFile":false})"},
      {"RenameFileIntoMissingDirectories", "RenameFile",
       R"({"originalFileInfo":"@/full/first.bin","newFileInfo":"@/a/b/other.bin"})"},
      {"MoveFile", "MoveFile", MOVE},
      {"MoveFileWithoutCopyFileRange", "MoveFile", MOVE, "-e inject=copy_file_range:error=EINVAL"},
      {"MoveDirectory", "MoveFile", R"({"srcPath":"@/full","destPath":"@/empty"})"},
      {"DeleteFile", "DeleteFile", R"({"path":"@/old.txt"})"},
      {"DeleteDirectory", "DeleteFile", R"({"path":"@/full"})"},
      {"ListFolder", "ListFolder", R"({"path":"@/full"})"},
  };
  return all;
}

/// The result of a request.
struct Outcome {
  std::string condition;       // of the fault, empty if there is none
  std::string response;        // without the values that vary between successful runs
  int descriptorsLeftOpen = 0; // negative if the host closed one that it had before
};

/// A system call of the request under test.
struct Call {
  std::string name;
  int occurrence; // counted from the start of the host, from 1
  std::string line;
  std::string opening = {}; // of a close: the line that opened its descriptor

  [[nodiscard]] bool has(const char* text) const { return line.find(text) != std::string::npos; }
};

/// Used in place of an error: the number of bytes that a write reports as written.
const std::string FEW = "4";
const std::string NONE = "0";

struct Injection {
  const Call& call;
  std::string error;
  int times = 1;

  [[nodiscard]] bool isShort() const { return error == FEW; }

  /// Returns whether the close of a new copy fails: its bytes may not have reached the disk.
  [[nodiscard]] bool leavesCopyInDoubt() const {
    return call.opening.find("O_EXCL") != std::string::npos;
  }

  [[nodiscard]] std::string option() const {
    return "-e inject=" + call.name + (isShort() || error == NONE ? ":retval=" : ":error=") +
           error + ":when=" + std::to_string(call.occurrence) + ".." +
           std::to_string(call.occurrence + times - 1);
  }
};

/// Returns the errors with which the call can fail; none for a call that does not use files. The
/// test fails for a call without a row, so that none is forgotten.
std::vector<std::string> errorsOf(const Call& call) {
  using Texts = std::vector<std::string>;
  static const std::vector<std::pair<Texts, Texts>> rows = {
      {{"openat"}, {"EIO", "EACCES", "EMFILE"}},
      {{"newfstatat", "fstat", "faccessat2", "statfs", "fstatfs", "readlink", "readlinkat"},
       {"EIO", "EACCES"}},
      {{"mkdir", "mkdirat", "rename", "renameat"}, {"EIO", "EACCES", "ENOSPC"}},
      {{"renameat2"},
       {"EIO", "EACCES", "ENOSPC", "EINVAL", "ENOSYS"}}, // the last two lead to a plain rename
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
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& one) {
    return testing::Value(one.first, testing::Contains(call.name));
  });
  if (row == rows.end()) {
    ADD_FAILURE() << "add the errors of " << call.line;
    return {};
  }
  Texts errors = row->second;
  if (call.name == "openat" && !call.has("O_PATH")) { // O_PATH never waits
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

Poco::JSON::Object::Ptr resultOf(const Poco::JSON::Object::Ptr& answer) {
  auto result = answer->getObject("result");
  if (result.isNull()) {
    throw std::runtime_error("no result: " + textOf(answer));
  }
  return result;
}

int descriptorsOf(HostClient& host) {
  const auto listed = resultOf(host.ask("ListFolder", R"({"path":"/proc/self/fd"})"));
  return static_cast<int>(listed->getArray("folderContents")->size());
}

/// Sends the request between two others, which count the host's open descriptors and show that it
/// still serves. Throws for a JSON-RPC error and for more than one fault or condition.
Outcome outcomeOf(HostClient& host, const std::string& type, const std::string& params) {
  const int before = descriptorsOf(host);
  const auto result = resultOf(host.ask(type, params));
  Outcome outcome{"", textOf(result)};
  // A file whose permissions or existence cannot be determined may be described either way.
  Poco::RegularExpression(R"rx("(modified":\d+|(canWrite|deleted)":(true|false)))rx")
      .subst(outcome.response, "", Poco::RegularExpression::RE_GLOBAL);
  const auto faults = result->getArray("messageFaults");
  if (faults->size() > 0) {
    const auto conditions = faults->getObject(0)->getArray("faultConditions");
    if (faults->size() > 1 || conditions->size() != 1) {
      throw std::runtime_error("not one fault with one condition: " + outcome.response);
    }
    outcome.condition = conditions->getObject(0)->getValue<std::string>("faultId");
  }
  outcome.descriptorsLeftOpen = descriptorsOf(host) - before;
  return outcome;
}

bool contains(const Disk& disk, const std::string& contents) {
  return std::any_of(disk.begin(), disk.end(),
                     [&](const auto& entry) { return entry.second == contents; });
}

/// Expects that every file is whole at its old or new path, that nothing else has appeared, and
/// that only the request's own contents are incomplete. `after` is the disk after a success.
void expectNothingLost(const Disk& before, const Disk& after, const Disk& now) {
  const auto textAt = [](const Disk& disk, const std::string& path) {
    const auto entry = disk.find(path);
    return entry == disk.end() ? "(missing)" : entry->second;
  };
  for (const auto& [path, contents] : now) {
    const auto whole = textAt(after, path);
    const bool isNew = !contains(before, whole) && whole.compare(0, contents.size(), contents) == 0;
    EXPECT_TRUE(isNew || contents == whole || contents == textAt(before, path))
        << path << " was left behind with " << contents.size() << " bytes";
  }
  for (const auto& [path, contents] : before) {
    EXPECT_TRUE(now.count(path) > 0 || after.count(path) == 0) << path << " is gone";
    EXPECT_TRUE(contains(now, contents) || !contains(after, contents)) << path << " lost its text";
  }
}

class SystemCalls : public ScratchDirectory, public ::testing::WithParamInterface<Scenario> {
protected:
  static void SetUpTestSuite() {
    // Starting a process closes every descriptor up to the limit, which may be a million.
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
    if (!GetParam().hostOptions.empty() && !canConfine()) {
      GTEST_SKIP() << "this kernel has no Landlock of version 2";
    }
  }

  /// Runs the scenario on a fresh tree, with this option of strace.
  Outcome run(const std::string& injection = {}) {
    makeTree();
    const std::string strace = "exec strace -o log " + GetParam().straceOptions + ' ' + injection;
    HostClient host(directory(),
                    {"sh", "-c", strace + " \"$0\" " + GetParam().hostOptions + " 2> errors"});
    const auto params = Poco::replace<std::string>(GetParam().params, "@", at("tree"));
    Outcome outcome = outcomeOf(host, GetParam().type, params);
    EXPECT_EQ(host.finish(), 0);
    return outcome;
  }

  /// Returns the tree after the last run.
  [[nodiscard]] Disk tree() const {
    Disk entries = disk();
    entries.erase("log");
    entries.erase("errors");
    return entries;
  }

  [[nodiscard]] std::string permissions() const {
    return runShell("cd " + at("tree").string() + "; find . -printf '%p %m\\n' | sort").output;
  }

  /// Returns the calls of the last run that its request made, without those on the standard
  /// streams.
  [[nodiscard]] std::vector<Call> callsOfRequest() const {
    constexpr int requestUnderTest = 2; // see outcomeOf
    std::vector<Call> calls;
    std::map<std::string, int> occurrences;
    std::map<std::string, std::string> openings; // by descriptor
    int request = 0;
    std::ifstream log(at("log"));
    for (std::string line; std::getline(log, line);) {
      const std::string name = line.substr(0, line.find('('));
      const std::string descriptor =
          line.substr(line.find('(') + 1, line.find_first_of(",)") - line.find('(') - 1);
      request += line.rfind("read(0,", 0) == 0 ? 1 : 0;
      if (name == "openat") {
        openings[line.substr(line.rfind(' ') + 1)] = line;
      }
      Call call{name, ++occurrences[name], line, name == "close" ? openings[descriptor] : ""};
      if (request == requestUnderTest && descriptor != "0" && descriptor != "1" &&
          descriptor != "2") {
        calls.push_back(call);
      }
    }
    return calls;
  }

  /// Returns whether the request must succeed in spite of the injection.
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

  /// Expects that the intended calls of the last run failed. strace fails exactly as many calls, so
  /// no others failed.
  void expectInjected(const Injection& injection) const {
    const auto calls = callsOfRequest();
    EXPECT_EQ(injection.times, std::count_if(calls.begin(), calls.end(), [&](const Call& call) {
                return call.name == injection.call.name && call.has("(INJECTED)");
              }));
  }

  /// Expects that the host wrote the bytes after the first FEW, which strace only reports as
  /// written.
  void expectRestWritten(const Disk& after) const {
    int shorter = 0;
    for (const auto& [path, contents] : tree()) {
      const std::string& whole = after.at(path);
      EXPECT_TRUE(contents == whole || contents == whole.substr(std::stoul(FEW))) << path;
      shorter += contents == whole ? 0 : 1;
    }
    EXPECT_EQ(shorter, 1);
  }

  void makeTree() {
    fs::remove_all(at("tree"));
    writeFile("tree/old.txt", "old contents");
    // Longer than one block of a block-by-block copy.
    writeFile("tree/full/first.bin", std::string(70'000, 'x'));
    fs::permissions(at("tree/full/first.bin"), fs::perms{0640});
    writeFile("tree/full/sub/second.txt", "second contents");
    if (std::string(GetParam().type) == "MoveFile") {
      // A listing with an injected error would describe the link differently.
      fs::create_directory_symlink("sub", at("tree/full/link"));
    }
    makeDirectory("tree/empty");
  }

private:
  /// Returns whether a deletion tries the call again after any error.
  [[nodiscard]] static bool isTriedAgain(const Call& call) {
    static const std::set<std::string> names = {"openat", "unlinkat", "getdents64"};
    return std::string(GetParam().type) == "DeleteFile" &&
           (names.count(call.name) > 0 || call.has("AT_EMPTY_PATH"));
  }
};

TEST_P(SystemCalls, MayFailOneByOne) {
  const Outcome success = run();
  ASSERT_EQ(success.condition, "");
  ASSERT_EQ(success.descriptorsLeftOpen, 0);
  const std::vector<Call> calls = callsOfRequest();
  for (const Call& call : calls) { // only its owner can read a copy that is not finished
    EXPECT_TRUE(!call.has("O_EXCL") || call.has(", 0600) = ")) << call.line;
    EXPECT_TRUE(call.name != "openat" || call.has("O_CLOEXEC")) << call.line;
  }
  const Disk after = tree();
  const auto permissionsAfter = permissions();
  makeTree();
  const Disk before = tree();

  for (const Injection& injection : injectionsInto(calls)) {
    SCOPED_TRACE(injection.option() + " in " + injection.call.line);
    Outcome outcome;
    ASSERT_NO_THROW(outcome = run(injection.option())) << readFile("errors");
    expectInjected(injection);
    // strace does not execute a call that it makes fail, and a close must not be tried again.
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
    if (injection.error == "ENOSPC" || injection.error == "EDQUOT") {
      EXPECT_THAT(outcome.condition, testing::AnyOf("", "OVER_DISK_QUOTA"));
    }
    if (injection.isShort()) {
      expectRestWritten(after);
    } else if (!outcome.condition.empty()) {
      expectNothingLost(before, after, tree());
    } else {
      EXPECT_EQ(outcome.response, success.response);
      EXPECT_TRUE(tree() == after) << "the request reports success but is incomplete";
      EXPECT_EQ(permissions(), permissionsAfter);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Of, SystemCalls, ::testing::ValuesIn(scenarios()),
                         ::testing::PrintToStringParamName());

} // namespace

} // namespace connector::test
