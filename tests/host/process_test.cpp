#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/Requests.h"
#include "support/ScratchDirectory.h"

#include <Poco/String.h>
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace connector::test {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::string line(const std::string& members) {
  return R"({"jsonrpc":"2.0",)" + members + "}\n";
}

std::string request(int id, const std::string& type, const std::string& path) {
  return line(R"("id":)" + std::to_string(id) + R"(,"method":"connector/v1/)" + type +
              R"(","params":{"path":")" + path + "\"}");
}

std::string cancelled(int id) {
  return line(R"("id":)" + std::to_string(id) +
              R"(,"error":{"code":-32800,"message":"Cancelled"})");
}

const std::string UNKNOWN = line(R"("id":1,"method":"x")");
const std::string ANSWER_TO_UNKNOWN =
    line(R"("id":1,"error":{"code":-32601,"message":"Unknown message type: x"})");
/// The response is longer than a pipe holds, so the host waits for its reader.
const std::string LARGE_REQUEST = request(1, "OpenFile", "large");

class ConnectorHost : public ScratchDirectory {
protected:
  ConnectorHost() { writeFile("large", std::string(1'000'000, 'm')); }

  /// Returns once the host begins to answer, and thus handles signals.
  void begin(const std::string& requests) {
    host.send(requests);
    host.awaitOutput();
  }

  /// Returns the status of the host, -1 after ten seconds. Calls `meanwhile` repeatedly.
  template <typename Action>
  static int statusOf(HostClient& host, const Action& meanwhile) {
    int status = -1;
    for (int tries = 0; status == -1 && tries < 1000; ++tries) {
      meanwhile();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      status = host.statusSoFar();
    }
    return status;
  }

  HostClient host{directory()};
};

} // namespace

TEST_F(ConnectorHost, EndsOnASignalBetweenRequests) {
  for (const int number : {SIGTERM, SIGINT}) {
    for (const std::string unfinished : {"", R"({"jsonrpc":"2.0","id":2,"method":"x")"}) {
      HostClient host(directory());
      host.send(UNKNOWN);
      EXPECT_EQ(host.receiveLine() + "\n", ANSWER_TO_UNKNOWN);
      host.send(unfinished);
      host.signal(number);
      EXPECT_EQ(host.rest(), "");
      EXPECT_EQ(host.finish(), 0);
    }
  }
}

TEST_F(ConnectorHost, FinishesARequestAndCancelsTheOthersOnASignal) {
  const std::string batch = "[" + UNKNOWN + "," + line(R"("method":"x")") + "]";
  begin(LARGE_REQUEST + UNKNOWN + Poco::remove(batch, '\n') + "\n");
  host.signal(SIGTERM);
  EXPECT_THAT(host.rest(), EndsWith("\"notset\"}}\n" + cancelled(1) + "[" +
                                    Poco::remove(cancelled(1), '\n') + "]\n"));
  EXPECT_EQ(host.finish(), 0);
}

TEST_F(ConnectorHost, EndsAtOnceOnASecondSignal) {
  begin(LARGE_REQUEST);
  host.signal(SIGTERM);
  // A SIGINT that arrives before SIGTERM was handled does not kill the host, so SIGINT is sent
  // repeatedly.
  EXPECT_EQ(statusOf(host, [this] { host.signal(SIGINT); }), 256 + SIGINT);
}

// A DeleteFile that the confinement refuses is retried for a second.
TEST_F(ConnectorHost, AnswersARequestWhileAnotherJobIsSlow) {
  if (!canConfine()) {
    GTEST_SKIP() << "this kernel has no Landlock of version 2";
  }
  HostClient host(directory(), HostClient::withOptions("--jobs 3 --read-only"));
  const auto slow = [](int id) { return request(id, "DeleteFile", "large"); };
  host.send(slow(1) + slow(2) + request(3, "ListFolder", "."));
  EXPECT_THAT(host.receiveLine(), HasSubstr(R"("id":3,"result")"));
  host.send(slow(4) + slow(5) + slow(6) + line(R"("method":"$/cancelRequest","params":{"id":5})"));
  EXPECT_EQ(host.receiveLine() + "\n", cancelled(5));
  host.signal(SIGTERM);
  EXPECT_THAT(host.rest(), AllOf(HasSubstr(R"("id":1,"result")"), HasSubstr(R"("id":2,"result")"),
                                 HasSubstr(cancelled(6))));
  EXPECT_EQ(host.finish(), 0);
}

// The requests share few paths, so that they interfere with each other. Some responses are written
// in several pieces.
TEST_F(ConnectorHost, AnswersEachOfManyRequestsInSeveralJobs) {
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
    requests += line(R"("id":)" + number + R"(,"method":"connector/v1/)" + one.type +
                     R"(","params":{"uuid":"id )" + number + "\"," + params.substr(1));
  }
  writeFile("requests", requests);
  const auto finished =
      runShell("cd " + directory().string() + "; " CONNECTOR_HOST_PROGRAM " --jobs 8 < requests");
  EXPECT_EQ(finished.status, 0);
  std::istringstream replies(finished.output);
  std::set<std::string> ids;
  for (std::string reply; std::getline(replies, reply);) {
    const std::string id = reply.substr(22, reply.find(',', 22) - 22);
    EXPECT_THAT(reply,
                AllOf(HasSubstr("\"id\":" + id + ",\"result\""),
                      EndsWith("\"uuid\":\"id " + id + "\"}}"), Not(HasSubstr("OVER_DISK_QUOTA"))));
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), count);
}

TEST_F(ConnectorHost, EndsOnExitWithAStatusThatDependsOnShutdown) {
  const std::string exit = line(R"("method":"exit")") + UNKNOWN;
  for (const std::string options : {"", "--jobs 2"}) {
    HostClient early(directory(), HostClient::withOptions(options));
    early.send(request(1, "ListFolder", ".") + exit);
    EXPECT_THAT(early.rest(), AllOf(HasSubstr(R"("id":1)"), Not(HasSubstr("-32601"))));
    EXPECT_EQ(early.finish(), 1);
    HostClient late(directory(), HostClient::withOptions(options));
    late.send(line(R"("id":9,"method":"shutdown")") + exit);
    EXPECT_EQ(late.rest(), line(R"("id":9,"result":null)"));
    EXPECT_EQ(late.finish(), 0);
  }
}

TEST_F(ConnectorHost, EndsQuietlyWhenItsReaderHasGone) {
  for (const std::string options : {"", "--jobs 2"}) {
    HostClient host(directory(), HostClient::withOptions(options));
    host.send(UNKNOWN);
    host.receiveLine();
    host.endOutput();
    EXPECT_EQ(statusOf(host, [] {}), 0);
  }
}

TEST_F(ConnectorHost, MakesNoCallIfASignalInterruptsReadingTheMessage) {
  HostClient call(directory(), HostClient::withOptions("call OpenFile - 2>&1"));
  // A pipe cannot hold the whole message, so the host is already reading when `send` returns. The
  // input has not ended, so the host waits for more.
  call.send(std::string(4'000'000, ' ') + R"({"path":"/"})");
  call.signal(SIGINT);
  EXPECT_EQ(call.rest(), "");
  EXPECT_EQ(call.finish(), 2);
}

TEST(CommandLine, DeterminesStatusAndOutput) {
  // options, status, and a part of the output
  const std::vector<std::tuple<std::string, int, std::string>> rows{
      {R"(call ListFolder '{"path":"/"}')", 0, "\n  \"folderContents\": ["},
      {"call connector/v1/ListFolder - << END\n{\"path\":\"/\"}\nEND\n", 0, "folderContents"},
      {R"(call OpenFile '{"path":"/"}')", 1, "FILE_NOT_FOUND"},
      {"call movefilE", 2, "connector/v1/movefilE; did you mean connector/v1/MoveFile?\n"},
      {"call connector/v2/MovFile", 2, "MovFile; did you mean connector/v1/MoveFile?\n"},
      {"call Moving", 2, "Unknown message type: connector/v1/Moving\n"},
      {"call connector/v1/", 2, "Unknown message type: connector/v1/\n"},
      {"call " + std::string(100'000, 'e'), 2, "eee\n"},
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
      {"--jobs", 2, "--jobs needs a value: N\n"},
      {"--read-only=yes", 2, "--read-only takes no value"},
      {"cal", 2, "Unknown command: cal; did you mean call?\n"},
      {"--rot=/tmp", 2, "Unknown option: --rot; did you mean --root?\n"},
      {"call --help UpdateFile", 0, "\n  file.location     string   "},
      {"call --help Nonsense", 2, "Unknown message type: connector/v1/Nonsense\n"},
      {"types", 0, "connector/v1/UpdateFile\n"},
      {"--help", 0, "Usage: connector-host "},
      {"--version", 0, "connector-host " CONNECTOR_HOST_VERSION "\n"}};
  for (const auto& [options, status, output] : rows) {
    const auto finished = runShell("exec 2>&1; " CONNECTOR_HOST_PROGRAM " " + options);
    EXPECT_EQ(finished.status, status) << options.substr(0, 100) << finished.output;
    EXPECT_THAT(finished.output, HasSubstr(output));
  }
}

} // namespace connector::test
