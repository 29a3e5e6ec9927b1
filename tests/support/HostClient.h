#pragma once

#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace connector::test {

inline Poco::JSON::Object::Ptr parseObject(const std::string& json) {
  try {
    return Poco::JSON::Parser().parse(json).extract<Poco::JSON::Object::Ptr>();
  } catch (const Poco::Exception& error) {
    throw std::runtime_error(error.displayText() + " in: " + json.substr(0, 1000));
  }
}

/// A running connector-host and the conversation with it, one request at a time.
class HostClient {
public:
  /// `launcher` is a command that starts the one that is given to it as its last argument.
  explicit HostClient(const std::filesystem::path& currentFolder,
                      std::vector<std::string> launcher = {})
      : host_(launch(std::move(launcher), currentFolder, in_, out_))
      , requests_(in_)
      , answers_(out_) {}

  /// The whole answer to a request of that message type, such as "OpenFile". Throws when the host
  /// has ended or answers another request.
  Poco::JSON::Object::Ptr ask(const std::string& type, const std::string& params) {
    ++id_;
    requests_ << R"({"jsonrpc":"2.0","id":)" << id_ << R"(,"method":"connector/v1/)" << type
              << R"(","params":)" << params << "}\n"
              << std::flush;
    std::string line;
    if (!std::getline(answers_, line)) {
      throw std::runtime_error("the host has ended");
    }
    auto answer = parseObject(line);
    if (answer->getValue<std::string>("jsonrpc") != "2.0" || answer->getValue<int>("id") != id_) {
      throw std::runtime_error("no answer to this request: " + line.substr(0, 1000));
    }
    return answer;
  }

  /// Ends the input and waits for the host; its exit status.
  int finish() {
    requests_.close();
    return host_.wait();
  }

private:
  static Poco::ProcessHandle launch(std::vector<std::string> command,
                                    const std::filesystem::path& currentFolder, Poco::Pipe& in,
                                    Poco::Pipe& out) {
    command.emplace_back(CONNECTOR_HOST_PROGRAM);
    const Poco::Process::Args arguments(command.begin() + 1, command.end());
    return Poco::Process::launch(command.front(), arguments, currentFolder.string(), &in, &out,
                                 nullptr);
  }

  Poco::Pipe in_;
  Poco::Pipe out_;
  Poco::ProcessHandle host_;
  Poco::PipeOutputStream requests_;
  Poco::PipeInputStream answers_;
  int id_ = 0;
};

} // namespace connector::test
