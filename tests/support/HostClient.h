#pragma once

#include "support/JsonText.h"
#include "support/Machine.h"

#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace connector::test {

/// A running connector-host and the conversation with it, one request at a time. All functions
/// throw if the host has ended, or is killed because it does not begin to reply in time.
class HostClient {
public:
  /// `launcher` is a command that executes the command in its last argument.
  explicit HostClient(const std::filesystem::path& currentDirectory,
                      std::vector<std::string> launcher = {})
      : host_(launch(std::move(launcher), currentDirectory, in_, out_))
      , answers_(out_) {}

  /// Returns a launcher that adds these options, or other shell syntax such as redirections.
  static std::vector<std::string> withOptions(const std::string& options) {
    return {"sh", "-c", R"(exec "$0" )" + options};
  }

  /// Returns the reply to a request of this type, such as "OpenFile". Throws for another reply.
  Poco::JSON::Object::Ptr ask(const std::string& type, const std::string& params) {
    const auto line = askForText(type, params);
    auto answer = parseObject(line);
    if (answer->getValue<std::string>("jsonrpc") != "2.0" || answer->getValue<int>("id") != id_) {
      throw std::runtime_error("not the reply to this request: " + line.substr(0, 1000));
    }
    return answer;
  }

  std::string askForText(const std::string& type, const std::string& params) {
    ++id_;
    send(R"({"jsonrpc":"2.0","id":)" + std::to_string(id_) + R"(,"method":"connector/v1/)" + type +
         R"(","params":)" + params + "}\n");
    return receiveLine();
  }

  void send(std::string_view bytes) {
    while (!bytes.empty()) {
      const auto size = std::min<std::size_t>(bytes.size(), 1024UL * 1024);
      const int sent = in_.writeBytes(bytes.data(), static_cast<int>(size));
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  std::string receiveLine() {
    awaitOutput();
    std::string line;
    if (!std::getline(answers_, line)) {
      throw std::runtime_error("the host has ended");
    }
    return line;
  }

  /// Waits until the host begins to reply.
  void awaitOutput() {
    constexpr int patience = SANITIZED ? 120 : 40; // shorter than a lease lasts
    pollfd output{out_.readHandle(), POLLIN, 0};
    if (answers_.rdbuf()->in_avail() == 0 && poll(&output, 1, patience * 1000) == 0) {
      Poco::Process::kill(host_);
      throw std::runtime_error("no reply within " + std::to_string(patience) + " s");
    }
  }

  /// Returns the largest resident memory so far, in bytes.
  [[nodiscard]] std::size_t peakMemory() const {
    std::ifstream lines("/proc/" + std::to_string(host_.id()) + "/status");
    const std::string key = "VmHWM:";
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind(key, 0) == 0) {
        return 1024 * std::stoul(line.substr(key.size()));
      }
    }
    throw std::runtime_error("the host has ended");
  }

  void signal(int number) const { kill(host_.id(), number); }

  /// Returns the rest of the output, which ends with the host.
  std::string rest() { return {std::istreambuf_iterator<char>(answers_), {}}; }

  void endOutput() { out_.close(Poco::Pipe::CLOSE_READ); }

  /// Ends the input, waits for the host, and returns its exit status.
  int finish() {
    in_.close(Poco::Pipe::CLOSE_WRITE);
    return host_.wait();
  }

  /// Returns the exit status, -1 if the host still runs.
  [[nodiscard]] int statusSoFar() const { return host_.tryWait(); }

private:
  static Poco::ProcessHandle launch(std::vector<std::string> command,
                                    const std::filesystem::path& currentDirectory, Poco::Pipe& in,
                                    Poco::Pipe& out) {
    std::signal(SIGPIPE, SIG_IGN); // so that writing to a host that has ended throws
    command.emplace_back(CONNECTOR_HOST_PROGRAM);
    const Poco::Process::Args arguments(command.begin() + 1, command.end());
    return Poco::Process::launch(command.front(), arguments, currentDirectory.string(), &in, &out,
                                 nullptr);
  }

  Poco::Pipe in_;
  Poco::Pipe out_;
  Poco::ProcessHandle host_;
  Poco::PipeInputStream answers_;
  int id_ = 0;
};

} // namespace connector::test
