#pragma once

#include "support/JsonText.h"

#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>

#include <algorithm>
#include <chrono>
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

/// A running connector-host and the conversation with it, one request at a time. When the host has
/// ended, or does not begin to answer in time and is killed for it, everything throws.
class HostClient {
public:
  /// `launcher` is a command that starts the one that is given to it as its last argument.
  explicit HostClient(const std::filesystem::path& currentFolder,
                      std::vector<std::string> launcher = {})
      : host_(launch(std::move(launcher), currentFolder, in_, out_))
      , answers_(out_) {}

  /// Starts it with these options or other shell syntax, such as redirections.
  static std::vector<std::string> withOptions(const std::string& options) {
    return {"sh", "-c", R"(exec "$0" )" + options};
  }

  void setPatience(std::chrono::seconds patience) { patience_ = patience; }

  /// The whole answer to a request of that message type, such as "OpenFile". Throws when the host
  /// answers another request.
  Poco::JSON::Object::Ptr ask(const std::string& type, const std::string& params) {
    const auto line = askForText(type, params);
    auto answer = parseObject(line);
    if (answer->getValue<std::string>("jsonrpc") != "2.0" || answer->getValue<int>("id") != id_) {
      throw std::runtime_error("no answer to this request: " + line.substr(0, 1000));
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

  std::string receive(std::size_t size) {
    awaitOutput();
    std::string bytes(size, '\0');
    if (!answers_.read(bytes.data(), static_cast<std::streamsize>(size))) {
      throw std::runtime_error("the host has ended");
    }
    return bytes;
  }

  /// In bytes, as /proc/PID/status has it: "VmHWM:" is the peak of the resident memory so far,
  /// "VmRSS:" the resident memory now.
  [[nodiscard]] std::size_t memory(const std::string& key, const char* file = "/status") const {
    std::ifstream lines("/proc/" + std::to_string(host_.id()) + file);
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind(key, 0) == 0) {
        return 1024 * std::stoul(line.substr(key.size()));
      }
    }
    throw std::runtime_error("the host has ended");
  }

  void signal(int number) const { kill(host_.id(), number); }

  /// Of the output, which ends with the host.
  std::string rest() { return {std::istreambuf_iterator<char>(answers_), {}}; }

  void endOutput() { out_.close(Poco::Pipe::CLOSE_READ); }

  /// Ends the input and waits for the host; its exit status.
  int finish() {
    in_.close(Poco::Pipe::CLOSE_WRITE);
    return host_.wait();
  }

  /// -1 while it runs.
  [[nodiscard]] int statusSoFar() const { return host_.tryWait(); }

private:
  static Poco::ProcessHandle launch(std::vector<std::string> command,
                                    const std::filesystem::path& currentFolder, Poco::Pipe& in,
                                    Poco::Pipe& out) {
    std::signal(SIGPIPE, SIG_IGN); // writing to a host that has ended is to throw
    command.emplace_back(CONNECTOR_HOST_PROGRAM);
    const Poco::Process::Args arguments(command.begin() + 1, command.end());
    return Poco::Process::launch(command.front(), arguments, currentFolder.string(), &in, &out,
                                 nullptr);
  }

  void awaitOutput() {
    using std::chrono::milliseconds;
    pollfd output{out_.readHandle(), POLLIN, 0};
    const auto timeout = static_cast<int>(milliseconds(patience_).count());
    if (answers_.rdbuf()->in_avail() == 0 && poll(&output, 1, timeout) == 0) {
      Poco::Process::kill(host_);
      throw std::runtime_error("no answer within " + std::to_string(patience_.count()) + " s");
    }
  }

  Poco::Pipe in_;
  Poco::Pipe out_;
  Poco::ProcessHandle host_;
  Poco::PipeInputStream answers_;
  std::chrono::seconds patience_{60};
  int id_ = 0;
};

} // namespace connector::test
