#include <Poco/File.h>
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>
#include <Poco/TemporaryFile.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr std::string_view REQUEST = R"({"jsonrpc":"2.0","id":1,"method":"x"})"
                                     "\n";
constexpr std::string_view ANSWER =
    R"({"jsonrpc":"2.0","id":1,"error":{"code":-32601,"message":"Unknown message type: x"}})"
    "\n";

/// A running program with pipes for its standard streams.
class Running {
public:
  explicit Running(const std::vector<std::string>& arguments,
                   const std::string& program = CONNECTOR_HOST_PROGRAM)
      : handle_(Poco::Process::launch(program, arguments, &in_, &out_, &err_)) {}

  void send(std::string_view bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      sent += static_cast<std::size_t>(
          in_.writeBytes(bytes.data() + sent, static_cast<int>(bytes.size() - sent)));
    }
  }

  std::string read(std::size_t size) {
    std::string result(size, '\0');
    std::size_t count = 0;
    while (count < size) {
      const int more = out_.readBytes(&result[count], static_cast<int>(size - count));
      if (more == 0) {
        break;
      }
      count += static_cast<std::size_t>(more);
    }
    result.resize(count);
    return result;
  }

  /// One round, after which the host is known to be set up.
  void settle() {
    send(REQUEST);
    ASSERT_EQ(read(ANSWER.size()), ANSWER);
  }

  void endInput() { in_.close(Poco::Pipe::CLOSE_WRITE); }

  void endOutput() { out_.close(Poco::Pipe::CLOSE_READ); }

  void signal(int number) { ASSERT_EQ(kill(handle_.id(), number), 0); }

  std::string restOfOutput() { return rest(out_); }

  std::string errors() { return rest(err_); }

  int exitStatus() { return handle_.wait(); }

  /// -1 while it runs.
  int exitStatusSoFar() { return handle_.tryWait(); }

  /// In KiB.
  [[nodiscard]] long peakMemory() const {
    std::ifstream status("/proc/" + std::to_string(handle_.id()) + "/status");
    std::string line;
    while (std::getline(status, line)) {
      if (line.rfind("VmHWM:", 0) == 0) {
        return std::stol(line.substr(6));
      }
    }
    return -1;
  }

private:
  static std::string rest(Poco::Pipe& pipe) {
    Poco::PipeInputStream stream(pipe);
    std::string text;
    Poco::StreamCopier::copyToString(stream, text);
    return text;
  }

  Poco::Pipe in_;
  Poco::Pipe out_;
  Poco::Pipe err_;
  Poco::ProcessHandle handle_;
};

struct Finished {
  int status;
  std::string output;
  std::string errors;
};

Finished finish(Running& running) {
  running.endInput();
  auto output = running.restOfOutput();
  auto errors = running.errors();
  return {running.exitStatus(), std::move(output), std::move(errors)};
}

Finished run(const std::vector<std::string>& arguments, std::string_view input = "") {
  Running running(arguments);
  running.send(input);
  return finish(running);
}

/// A path in a folder of its own, which goes with it.
class Scratch {
public:
  Scratch() { Poco::File(folder_.path()).createDirectories(); }

  [[nodiscard]] std::string path(const std::string& name) const {
    return folder_.path() + "/" + name;
  }

private:
  Poco::TemporaryFile folder_;
};

} // namespace

TEST(ConnectorHost, AnswersUntilTheInputEnds) {
  const Scratch scratch;
  const auto finished =
      run({}, "nonsense\n\n" + std::string(REQUEST) +
                  R"({"jsonrpc":"2.0","id":"a","method":"connector/v1/CreateFile","params":)"
                  R"({"file":{"location":")" +
                  scratch.path("a.txt") +
                  R"(","contents":"abc"}}})"
                  "\n[]\n"
                  R"({"jsonrpc":"2.0","id":2,"method":"x"})");
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "");
  std::istringstream lines(finished.output);
  for (const std::string part :
       {R"("code":-32700)", R"("id":1,"error":{"code":-32601)", R"("messageFaults":[])",
        R"("code":-32600)", R"("id":2,"error":{"code":-32601)"}) {
    std::string line;
    std::getline(lines, line);
    EXPECT_THAT(line, HasSubstr(part));
  }
  std::ifstream file(scratch.path("a.txt"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "abc");
}

TEST(ConnectorHost, RefusalsOfTheFrameworkHaveTheirCodes) {
  const auto batch = run(
      {"serve"}, R"([{"jsonrpc":"2.0","id":1,"method":"connector/v1/OpenWithBrowser","params":{}},)"
                 R"({"jsonrpc":"2.0","id":2,"method":"connector/v1/OpenFile","params":)"
                 R"({"apiVersion":"a.1"}}])");
  EXPECT_THAT(batch.output,
              StartsWith(R"([{"jsonrpc":"2.0","id":1,"error":{"code":-32000,"message":"Incorrect )"
                         R"(message type. Expected: )"));
  EXPECT_THAT(batch.output, HasSubstr(R"("id":2,"error":{"code":-32602,"message":)"
                                      R"("invalid stoi argument"}}])"));
}

TEST(ConnectorHost, OverlongMessageIsSkippedInBoundedMemory) {
  Running host({"--max-message", "1000000"});
  const std::string piece(1000000, 'x');
  for (int i = 0; i < 256; ++i) {
    host.send(piece);
  }
  host.send("\n");
  EXPECT_THAT(host.read(60), HasSubstr("-32600"));
  const auto memory = host.peakMemory();
  EXPECT_GT(memory, 0);
  EXPECT_LT(memory, 200000);
  host.send(REQUEST);
  EXPECT_THAT(finish(host).output, HasSubstr(ANSWER));
}

TEST(ConnectorHost, SignalEndsItBetweenRequests) {
  for (const int number : {SIGTERM, SIGINT}) {
    for (const std::string pending : {"", R"({"jsonrpc":"2.0","id":2,"method":"x")"}) {
      Running host({});
      host.settle();
      host.send(pending);
      host.signal(number);
      EXPECT_EQ(host.restOfOutput(), "");
      EXPECT_EQ(host.exitStatus(), 0);
    }
  }
}

TEST(ConnectorHost, SignalLetsTheRequestInHandBeAnswered) {
  Running host({});
  const std::string method(1000000, 'm'); // more than a pipe holds, so the answer waits for us
  host.send(R"({"jsonrpc":"2.0","id":1,"method":")" + method + "\"}\n" + std::string(REQUEST));
  auto output = host.read(1);
  host.signal(SIGTERM);
  output += host.restOfOutput();
  EXPECT_THAT(output, HasSubstr(": " + method + "\"}}\n"));
  EXPECT_EQ(host.exitStatus(), 0);
}

TEST(ConnectorHost, SecondSignalEndsItAtOnce) {
  Running host({});
  const std::string method(1000000, 'm');
  host.send(R"({"jsonrpc":"2.0","id":1,"method":")" + method + "\"}\n");
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

TEST(ConnectorHost, ReaderThatWentAwayEndsItQuietly) {
  Running host({});
  host.settle();
  host.endOutput();
  host.send(REQUEST);
  EXPECT_EQ(host.errors(), "");
  EXPECT_EQ(host.exitStatus(), 0);
}

TEST(ConnectorHost, CallTellsTheOutcomeByItsStatus) {
  const Scratch scratch;
  const auto missing = R"({"path":")" + scratch.path("missing") + "\"}";
  const auto folder = R"({"path":")" + scratch.path("") + "\"}";

  const auto listed = run({"call", "ListFolder", folder});
  EXPECT_EQ(listed.status, 0);
  EXPECT_THAT(listed.output, HasSubstr("\n  \"folderContents\": ["));
  EXPECT_EQ(run({"call", "connector/v1/ListFolder", "-"}, folder).status, 0);

  const auto failed = run({"call", "OpenFile", missing});
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(failed.output, HasSubstr("FILE_NOT_FOUND"));

  const std::vector<std::pair<std::vector<std::string>, std::string>> refused{
      {{"call", "Nonsense"}, "Unknown message type: connector/v1/Nonsense"},
      {{"call", "OpenFile", "nonsense"}, "The message is not JSON: "},
      {{"call", "OpenFile", "[]"}, "not a JSON object"},
      {{"call", "OpenFile", R"({"apiVersion":"a.1"})"}, "invalid stoi argument"},
      {{"call", "OpenWithBrowser"}, "Incorrect message type"},
      {{"call"}, "--help"},
  };
  for (const auto& [arguments, text] : refused) {
    const auto finished = run(arguments);
    EXPECT_EQ(finished.status, 2) << text;
    EXPECT_EQ(finished.output, "");
    EXPECT_THAT(finished.errors, HasSubstr(text));
  }
  EXPECT_EQ(run({"call", "OpenFile", "-", "--max-message=1"}, "{}").status, 2);
}

TEST(ConnectorHost, ClosedStandardStreamIsNotTakenByAFile) {
  const Scratch scratch;
  const auto message =
      R"({"file":{"location":")" + scratch.path("a.txt") + R"(","contents":"abc"}})";
  Running shell(
      {"-c", R"(exec "$0" call CreateFile "$1" <&- >&-)", CONNECTOR_HOST_PROGRAM, message},
      "/bin/sh");
  EXPECT_EQ(finish(shell).status, 0);
  std::ifstream file(scratch.path("a.txt"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "abc");
}

TEST(ConnectorHost, TellsAboutItself) {
  const auto help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.output, StartsWith("Usage: connector-host "));
  EXPECT_EQ(run({"--version"}).output, "connector-host " CONNECTOR_HOST_VERSION "\n");
}
