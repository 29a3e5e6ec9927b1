#include "Commands.h"
#include "Diagnostics.h"

#include <Poco/Channel.h>
#include <Poco/Format.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <utility>

namespace connector::host {

namespace {

/// In bytes, before escaping. A longer line is cut, because clients choose types and paths.
constexpr std::size_t MAX_LINE = 8192;

class StandardErrorChannel : public Poco::Channel {
public:
  void log(const Poco::Message& message) override {
    const auto text = message.getText().substr(0, MAX_LINE);
    std::cerr.clear(); // forgets an earlier failure, for example a full disk
    // One write per line, so that the lines of several threads do not mix.
    std::cerr << "connector-host: " + withEscapedControls(text) + '\n';
  }
};

std::string outcomeOf(const Poco::JSON::Object& response) {
  const auto fault = faultIn(response);
  return fault ? fault->condition + ": " + fault->message : "ok";
}

std::string outcomeOf(ErrorCode code, const char* text) {
  return "error " + std::to_string(static_cast<int>(code)) + ": " + text;
}

class LoggingApi : public Api {
public:
  explicit LoggingApi(std::unique_ptr<Api> api)
      : api_(std::move(api)) {}

  [[nodiscard]] Poco::JSON::Object::Ptr
  execute(const std::string& type, const Poco::JSON::Object::Ptr& params) const override {
    const auto begin = std::chrono::steady_clock::now();
    const auto log = [&](const auto&... outcome) {
      const std::chrono::duration<double, std::milli> duration =
          std::chrono::steady_clock::now() - begin;
      try {
        const auto head = Poco::format("%s %.3f ms ", type, duration.count());
        Poco::Logger::get("connector::host").information(head + outcomeOf(outcome...));
      } catch (...) {
        return; // the client gets its response even if the log cannot be written
      }
    };
    try {
      auto response = api_->execute(type, params);
      log(*response);
      return response;
    } catch (const Error& e) {
      log(e.code, e.what());
      throw;
    } catch (const std::exception& e) {
      log(ErrorCode::internalError, e.what());
      throw;
    }
  }

private:
  const std::unique_ptr<Api> api_;
};

} // namespace

std::unique_ptr<Api> makeLoggingApi(std::unique_ptr<Api> api) {
  Poco::Logger::root().setChannel(Poco::makeAuto<StandardErrorChannel>());
  return std::make_unique<LoggingApi>(std::move(api));
}

} // namespace connector::host
