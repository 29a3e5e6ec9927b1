#include "support/ScratchFolder.h"

#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

const std::string REQUEST = R"({"jsonrpc":"2.0","id":1,"method":"x"})"
                            "\n";
const std::string ANSWER =
    R"({"jsonrpc":"2.0","id":1,"error":{"code":-32601,"message":"Unknown message type: x"}})"
    "\n";
// The answer is more than a pipe holds, so it waits for its reader.
const std::string LARGE_REQUEST =
    R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(1000000, 'm') + "\"}\n";

/// A running program with pipes for its standard streams.
class Running {
public:
  explicit Running(const std::vector<std::string>& arguments,
                   const std::string& program = CONNECTOR_HOST_PROGRAM)
      : handle_(Poco::Process::launch(program, arguments, &in_, &out_, &out_)) {}

  void send(const std::string& bytes) { input_ << bytes << std::flush; }

  std::string read(std::size_t size) {
    std::string result(size, '\0');
    output_.read(result.data(), static_cast<std::streamsize>(size));
    return result;
  }

  void endInput() { input_.close(); }

  void endOutput() { out_.close(Poco::Pipe::CLOSE_READ); }

  void signal(int number) { ASSERT_EQ(kill(handle_.id(), number), 0); }

  std::string restOfOutput() { return {std::istreambuf_iterator<char>(output_), {}}; }

  int exitStatus() { return handle_.wait(); }

  /// -1 while it runs.
  int exitStatusSoFar() { return handle_.tryWait(); }

private:
  Poco::Pipe in_;
  Poco::Pipe out_;
  Poco::ProcessHandle handle_;
  Poco::PipeOutputStream input_{in_};
  Poco::PipeInputStream output_{out_};
};

/// Exit status, and what is written to either stream.
std::pair<int, std::string> run(const std::vector<std::string>& arguments,
                                const std::string& input = "") {
  Running running(arguments);
  running.send(input);
  running.endInput();
  auto output = running.restOfOutput();
  return {running.exitStatus(), std::move(output)};
}

using ConnectorHost = connector::test::ScratchFolder;

} // namespace

TEST_F(ConnectorHost, AnswersUntilTheInputEnds) {
  const auto [status, output] =
      run({"serve"}, "nonsense\n\n" + REQUEST + R"({"jsonrpc":"2.0","id":2,"method":"x"})");
  EXPECT_EQ(status, 0);
  EXPECT_THAT(output, testing::MatchesRegex("[^\n]+-32700[^\n]+\n[^\n]+\"id\":1,[^\n]+\n"
                                            "[^\n]+\"id\":2,[^\n]+\n"));
}

TEST_F(ConnectorHost, SignalEndsItBetweenRequests) {
  for (const int number : {SIGTERM, SIGINT}) {
    for (const std::string pending : {"", R"({"jsonrpc":"2.0","id":2,"method":"x")"}) {
      Running host({});
      host.send(REQUEST);
      ASSERT_EQ(host.read(1), "{"); // it is set up by now
      host.send(pending);
      host.signal(number);
      EXPECT_EQ(host.restOfOutput(), ANSWER.substr(1));
      EXPECT_EQ(host.exitStatus(), 0);
    }
  }
}

TEST_F(ConnectorHost, SignalLetsTheRequestInHandBeAnswered) {
  Running host({});
  host.send(LARGE_REQUEST + REQUEST);
  ASSERT_EQ(host.read(1), "{");
  host.signal(SIGTERM);
  EXPECT_THAT(host.restOfOutput(), testing::EndsWith("mmm\"}}\n"));
  EXPECT_EQ(host.exitStatus(), 0);
}

TEST_F(ConnectorHost, SecondSignalEndsItAtOnce) {
  Running host({});
  host.send(LARGE_REQUEST);
  ASSERT_EQ(host.read(1), "{");
  host.signal(SIGTERM);
  int status = -1;
  for (int tries = 0; status == -1 && tries < 1000; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    host.signal(SIGTERM); // one sent too early counts as the first
    status = host.exitStatusSoFar();
  }
  EXPECT_EQ(status, 256 + SIGTERM);
}

TEST_F(ConnectorHost, ReaderThatWentAwayEndsItQuietly) {
  Running host({});
  host.endOutput();
  host.send(REQUEST);
  EXPECT_EQ(host.exitStatus(), 0);
}

TEST_F(ConnectorHost, CallTellsTheOutcomeByItsStatus) {
  const std::string params = R"({"path":"/"})";
  const std::vector<std::tuple<std::vector<std::string>, int, std::string>> rows{
      {{"call", "ListFolder", params}, 0, "\n  \"folderContents\": ["},
      {{"call", "connector/v1/ListFolder", "-"}, 0, "folderContents"},
      {{"call", "OpenFile", params}, 1, "FILE_NOT_FOUND"},
      {{"call", "Nonsense"}, 2, "Unknown message type: connector/v1/Nonsense\n"},
      {{"call", "OpenFlie"}, 2, "connector/v1/OpenFlie; did you mean connector/v1/OpenFile?\n"},
      {{"call", "OpenFile", "nonsense"}, 2, "The message is not JSON: "},
      {{"call", "OpenFile", "[]"}, 2, "not a JSON object"},
      {{"call", "OpenFile", "-", "--max-message=1"}, 2, "too long"},
      {{"call"}, 2, "--help"},
      {{"cal"}, 2, "Unknown command: cal; did you mean call?\n"},
      {{"--rot=/tmp"}, 2, "Unknown option: --rot=/tmp; did you mean --root?\n"},
      {{"types"}, 0, "connector/v1/UpdateFile\n"},
      {{"--help"}, 0, "Usage: connector-host "},
      {{"--version"}, 0, "connector-host " CONNECTOR_HOST_VERSION "\n"}};
  for (const auto& [arguments, expectedStatus, text] : rows) {
    const auto [status, output] = run(arguments, params);
    EXPECT_EQ(status, expectedStatus) << output;
    EXPECT_THAT(output, testing::HasSubstr(text));
  }
}

TEST_F(ConnectorHost, ListsTheTypesThatItAnswers) {
  std::istringstream types(run({"types"}).second);
  int count = 0;
  for (std::string type; std::getline(types, type); ++count) {
    EXPECT_NE(run({"call", type}).first, 2) << type;
  }
  EXPECT_GT(count, 0);
}

TEST_F(ConnectorHost, ClosedStandardStreamIsNotTakenByAFile) {
  const auto message =
      R"({"file":{"location":")" + at("a.txt").string() + R"(","contents":"abc"}})";
  Running shell(
      {"-c", R"(exec "$0" call CreateFile "$1" <&- >&-)", CONNECTOR_HOST_PROGRAM, message},
      "/bin/sh");
  EXPECT_EQ(shell.exitStatus(), 0);
  EXPECT_EQ(readFile("a.txt"), "abc");
}
