#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/Requests.h"
#include "support/ScratchFolder.h"
#include "support/Shell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace connector::test {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

const std::string REQUEST = R"({"jsonrpc":"2.0","id":1,"method":"x"})"
                            "\n";
const std::string ANSWER =
    R"({"jsonrpc":"2.0","id":1,"error":{"code":-32601,"message":"Unknown message type: x"}})"
    "\n";
/// Its response is more than a pipe holds, so the host waits for its reader.
const std::string LARGE_REQUEST =
    R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/OpenFile","params":{"path":"large"}})"
    "\n";

class ConnectorHost : public ScratchFolder {
protected:
  ConnectorHost() { writeFile("large", std::string(1'000'000, 'm')); }

  /// It begins to answer, and so is set up, when this returns.
  void begin(const std::string& requests) {
    host.send(requests);
    ASSERT_EQ(host.receive(1), "{");
  }

  HostClient host{folder()};
};

const std::string CANCELLED_REPLY =
    R"({"jsonrpc":"2.0","id":1,"error":{"code":-32800,"message":"Cancelled"}})";

std::string request(int id, const std::string& type, const std::string& path) {
  return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"connector/v1/)" + type +
         R"(","params":{"path":")" + path + "\"}}\n";
}

/// The host with these options and whatever a shell takes there; both its outputs.
Finished run(const std::string& options) {
  return runShell("exec 2>&1; " CONNECTOR_HOST_PROGRAM " " + options);
}

} // namespace

TEST_F(ConnectorHost, SignalEndsItBetweenRequests) {
  for (const int number : {SIGTERM, SIGINT}) {
    for (const std::string pending : {"", R"({"jsonrpc":"2.0","id":2,"method":"x")"}) {
      HostClient host(folder());
      host.send(REQUEST);
      EXPECT_EQ(host.receive(ANSWER.size()), ANSWER);
      host.send(pending);
      host.signal(number);
      EXPECT_EQ(host.rest(), "");
      EXPECT_EQ(host.finish(), 0);
    }
  }
}

TEST_F(ConnectorHost, SignalLetsTheRequestInHandBeAnswered) {
  begin(LARGE_REQUEST + REQUEST + "[" + REQUEST.substr(0, REQUEST.size() - 1) +
        R"(,{"jsonrpc":"2.0","method":"x"}])" + "\n");
  host.signal(SIGTERM);
  EXPECT_THAT(host.rest(),
              EndsWith("\"notset\"}}\n" + CANCELLED_REPLY + "\n[" + CANCELLED_REPLY + "]\n"));
  EXPECT_EQ(host.finish(), 0);
}

// A confined host executes each DeleteFile for a second.
TEST_F(ConnectorHost, JobsLetNoRequestWaitForASlowOne) {
  if (!canConfine()) {
    GTEST_SKIP() << "this kernel has no Landlock of version 2";
  }
  HostClient host(folder(), HostClient::withOptions("--jobs 3 --read-only"));
  const auto slow = [](int id) { return request(id, "DeleteFile", "large"); };
  host.send(slow(1) + slow(2) + request(3, "ListFolder", "."));
  EXPECT_THAT(host.receiveLine(), HasSubstr(R"("id":3,"result")"));
  host.send(slow(4) + slow(5) + slow(6) +
            R"({"jsonrpc":"2.0","method":"$/cancelRequest","params":{"id":5}})" + "\n");
  EXPECT_EQ(host.receiveLine(),
            R"({"jsonrpc":"2.0","id":5,"error":{"code":-32800,"message":"Cancelled"}})");
  host.signal(SIGTERM);
  const auto rest = host.rest();
  EXPECT_THAT(rest, AllOf(HasSubstr(R"("id":1,"result")"), HasSubstr(R"("id":2,"result")"),
                          HasSubstr(R"("id":6,"error":{"code":-32800)")));
  EXPECT_EQ(host.finish(), 0);
}

// About few paths, so that the requests meet; the responses to some are written in several pieces.
TEST_F(ConnectorHost, JobsAnswerEachOfManyRequestsRightly) {
  constexpr int count = 4000;
  std::mt19937 random(1);
  const auto somePath = [&random] {
    const std::vector<std::string> inner{"", "", "/a.txt", "/sub"};
    return "item-" + std::to_string(random() % 4) + inner[random() % 4];
  };
  std::string requests;
  for (int id = 0; id < count; ++id) {
    const Request& one = id % 20 == 0 ? openFile : REQUESTS[random() % REQUESTS.size()];
    const auto params = one.with(id % 20 == 0 ? "large" : somePath(), somePath());
    const auto number = std::to_string(id);
    requests += R"({"jsonrpc":"2.0","id":)" + number + R"(,"method":"connector/v1/)" + one.type +
                R"(","params":{"uuid":"id )" + number + "\"," + params.substr(1) + "}\n";
  }
  writeFile("requests", requests);
  const auto finished =
      runShell("cd " + folder().string() + "; " CONNECTOR_HOST_PROGRAM " --jobs 8 < requests");
  EXPECT_EQ(finished.status, 0);
  std::istringstream lines(finished.output);
  std::set<std::string> ids;
  for (std::string line; std::getline(lines, line);) {
    const std::string id = line.substr(22, line.find(',', 22) - 22);
    EXPECT_THAT(line,
                AllOf(HasSubstr("\"id\":" + id + ",\"result\""),
                      EndsWith("\"uuid\":\"id " + id + "\"}}"), Not(HasSubstr("OVER_DISK_QUOTA"))));
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), count);
}

TEST_F(ConnectorHost, ExitEndsIt) {
  const std::string ending = R"({"jsonrpc":"2.0","method":"exit"})"
                             "\n" +
                             REQUEST;
  for (const std::string options : {"", "--jobs 2"}) {
    HostClient early(folder(), HostClient::withOptions(options));
    early.send(request(1, "ListFolder", ".") + ending);
    EXPECT_THAT(early.rest(), AllOf(HasSubstr(R"("id":1)"), Not(HasSubstr("-32601"))));
    EXPECT_EQ(early.finish(), 1);
    HostClient late(folder(), HostClient::withOptions(options));
    late.send(R"({"jsonrpc":"2.0","id":9,"method":"shutdown"})"
              "\n" +
              ending);
    EXPECT_EQ(late.rest(), R"({"jsonrpc":"2.0","id":9,"result":null})"
                           "\n");
    EXPECT_EQ(late.finish(), 0);
  }
}

TEST_F(ConnectorHost, SecondSignalEndsItAtOnce) {
  begin(LARGE_REQUEST);
  host.signal(SIGTERM);
  int status = -1;
  for (int tries = 0; status == -1 && tries < 1000; ++tries) {
    host.signal(SIGINT); // one sent too early counts as the first
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    status = host.statusSoFar();
  }
  EXPECT_EQ(status, 256 + SIGINT);
}

TEST_F(ConnectorHost, WaitsOnStreamsThatDoNotBlock) {
  const std::string script = "fcntl($_, F_SETFL, O_NONBLOCK) for *STDIN, *STDOUT; exec @ARGV";
  HostClient host(folder(), {"perl", "-MFcntl", "-e", script});
  for (const std::string& request : {REQUEST, LARGE_REQUEST}) {
    host.send(request);
    EXPECT_EQ(host.receiveLine().substr(0, 23), ANSWER.substr(0, 23));
  }
  EXPECT_EQ(host.finish(), 0);
}

TEST_F(ConnectorHost, ReaderThatWentAwayEndsItQuietly) {
  for (const std::string options : {"", "--jobs 2"}) {
    HostClient host(folder(), HostClient::withOptions(options));
    host.send(REQUEST);
    host.receiveLine();
    host.endOutput();
    int status = -1;
    for (int tries = 0; status == -1 && tries < 1000; ++tries) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      status = host.statusSoFar();
    }
    EXPECT_EQ(status, 0);
  }
}

TEST(Call, TellsTheOutcomeByItsStatus) {
  struct Row {
    const char* options;
    int status;
    const char* part; // of the output
  };

  const std::vector<Row> rows{
      {R"(call ListFolder '{"path":"/"}')", 0, "\n  \"folderContents\": ["},
      {"call connector/v1/ListFolder - << END\n{\"path\":\"/\"}\nEND\n", 0, "folderContents"},
      {R"(call OpenFile '{"path":"/"}')", 1, "FILE_NOT_FOUND"},
      {"call Nonsense", 2, "Unknown message type: connector/v1/Nonsense\n"},
      {"call OpenFlie", 2, "connector/v1/OpenFlie; did you mean connector/v1/OpenFile?\n"},
      {"call OpenFile path=/", 1, "FILE_NOT_FOUND"},
      {"call ListFolder pth=/", 0, "ListFolder has no key pth; did you mean path?\n{\n"},
      {R"(call CloseFile '{"file":{"location":"/","locaton":1}}')", 0, "file.locaton; did"},
      {"call CreateFile file=/", 2, "file is an object"},
      {"call CreateFile updateIfExists=1", 2, "must be true or false"},
      {"call CreateFile location=/ contents=@/", 2, "Cannot read /"},
      {"call CreateFile contents=@/dev/zero --max-message=1", 2, "too long"},
      {"call OpenFile --contents path=/no/such", 1, "connector-host: /no/such does not exist.\n"},
      {"call DeleteFile --contents path=/no/such", 2, "no contents"},
      {"call OpenFile nonsense", 2, "The message is not JSON: "},
      {"call OpenFile []", 2, "not a JSON object"},
      {"call OpenFile - --max-message=1 < /dev/zero", 2, "too long"},
      {"call OpenFile {} --max-message=1", 2, "too long"},
      {"types > /dev/full", 2, "cannot write"},
      {"call", 2, "--help"},
      {"call OpenFile {} more", 2, "Not KEY=VALUE: {}"},
      {"serve more", 2, "--help"},
      {"--max-message 0", 2, "--help"},
      {"--root < /dev/null", 2, "--help"},
      {"--max-message=1k", 2, "--max-message: not a number"},
      {"--jobs 65", 2, "--help"},
      {"--read-only=yes", 2, "--read-only takes no argument"},
      {"cal", 2, "Unknown command: cal; did you mean call?\n"},
      {"--rot=/tmp", 2, "Unknown option: --rot; did you mean --root?\n"},
      {"call --help UpdateFile", 0, "\n  file.location     string   "},
      {"call --help Nonsense", 2, "Unknown message type: connector/v1/Nonsense\n"},
      {"types", 0, "connector/v1/UpdateFile\n"},
      {"--help", 0, "Usage: connector-host "},
      {"--version", 0, "connector-host " CONNECTOR_HOST_VERSION "\n"}};
  for (const Row& row : rows) {
    const auto finished = run(row.options);
    EXPECT_EQ(finished.status, row.status) << finished.output;
    EXPECT_THAT(finished.output, HasSubstr(row.part));
  }
}

TEST_F(ConnectorHost, CallSendsAndPrintsTheBytesOfFiles) {
  if (!canConfine()) {
    GTEST_SKIP() << "this kernel has no Landlock of version 2";
  }
  for (const auto& bytes : {std::string("a\0\xFF\n", 4), std::string("@text")}) {
    const auto sent = writeFile("sent", bytes).string();
    makeFolder("root");
    EXPECT_EQ(run("--root " + at("root").string() + " call CreateFile updateIfExists=true " +
                  "file.location=kept contents=@" + sent)
                  .status,
              0);
    EXPECT_EQ(readFile("root/kept"), bytes);
    EXPECT_EQ(run("call OpenFile --contents path=" + at("root/kept").string()).output, bytes);
  }
}

TEST_F(ConnectorHost, LogHasALinePerRequestAndTheCauseOfAFault) {
  const std::string log = "--log 2>&1 >/dev/null ";
  const auto file = writeFile("file", "").string();
  EXPECT_THAT(
      run(log + "call RenameFile originalFileInfo=" + file + " newFileInfo=" + file + "/new")
          .output,
      MatchesRegex("connector-host: [^\n]*/new': Not a directory[^\n]*\n"
                   "connector-host: connector/v1/RenameFile [0-9.]+ ms NOT_A_FOLDER: "
                   "[^\n]*/new'\n"));
  EXPECT_THAT(run(log + R"(<< END
{"jsonrpc":"2.0","method":"connector/v1/CloseFile","params":{"file":{"location":"/"}}}
{"jsonrpc":"2.0","method":"x\\nforged"}
END
)")
                  .output,
              MatchesRegex("connector-host: connector/v1/CloseFile [0-9.]+ ms ok\n"
                           "connector-host: x.u000aforged [0-9.]+ ms error -32601: [^\n]*\n"));
}

TEST_F(ConnectorHost, CallIsNotMadeWhenItsMessageIsInterrupted) {
  HostClient call(folder(), HostClient::withOptions("call OpenFile - 2>&1"));
  // More than a pipe holds, so it is being read when this returns. All of it is there, but nobody
  // has said so.
  call.send(std::string(4'000'000, ' ') + R"({"path":"/"})");
  call.signal(SIGINT);
  EXPECT_EQ(call.rest(), "");
  EXPECT_EQ(call.finish(), 2);
}

TEST_F(ConnectorHost, FileBeyondTheLimitOfItsProcessIsAFault) {
  const std::string params = R"({"file":{"location":")" + at("a.txt").string() +
                             R"(","contents":")" + std::string(100'000, 'x') + "\"}}";
  const auto finished =
      runShell("ulimit -f 1; " CONNECTOR_HOST_PROGRAM " call CreateFile '" + params + "'");
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.output, HasSubstr("FILE_TOO_BIG"));
}

TEST_F(ConnectorHost, ClosedStandardStreamIsNotTakenByAFile) {
  const auto file = at("a.txt").string();
  EXPECT_EQ(
      run(R"(call CreateFile '{"file":{"location":")" + file + R"(","contents":"abc"}}' <&- >&-)")
          .status,
      0);
  EXPECT_EQ(readFile("a.txt"), "abc");
}

TEST_F(ConnectorHost, DoesNotWriteToItsOwnOutput) {
  const auto file = writeFile("a.txt", "kept").string();
  std::filesystem::create_hard_link(file, at("link"));
  const auto updateTo = [](const std::string& path, const std::string& output) {
    const std::string params = R"('{"file":{"location":")" + path + R"("}}')";
    return run("call UpdateFile " + params + " >> " + output).status;
  };
  EXPECT_EQ(updateTo(at("link").string(), file), 1);
  EXPECT_THAT(readFile("a.txt"), testing::StartsWith("kept{"));
  EXPECT_EQ(updateTo("/dev/null", "/dev/null"), 0);
}

} // namespace connector::test
