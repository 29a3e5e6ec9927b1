#include "Terminal.h"

#include <Poco/Environment.h>

#include <chrono>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace connector::host {

bool showsColor(int descriptor) {
  return isatty(descriptor) != 0 && Poco::Environment::get("NO_COLOR", "").empty() &&
         Poco::Environment::get("TERM", "dumb") != "dumb";
}

std::string withColoredFaults(std::string response) {
  const std::string closing = "\n  ]"; // a line break inside a text is escaped
  const auto begin = response.find("\n  \"messageFaults\"");
  const auto end = response.find(closing, begin);
  if (end != std::string::npos) {
    response.insert(end + closing.size(), "\x1B[0m");
    response.insert(begin + 1, "\x1B[31m");
  }
  return response;
}

Progress::Progress(int descriptor, std::string type)
    : descriptor_(descriptor)
    , type_(std::move(type)) {
  if (isatty(descriptor) == 0) {
    return;
  }
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    return; // the request is executed without it
  }
}

Progress::~Progress() {
  if (!thread_.joinable()) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  end_.notify_one();
  thread_.join();
}

void Progress::run() {
  const auto begin = std::chrono::steady_clock::now();
  std::string line;
  std::unique_lock lock(mutex_);
  for (int seconds = 1;
       !end_.wait_until(lock, begin + std::chrono::seconds(seconds), [this] { return ended_; });
       ++seconds) {
    line = "connector-host: " + type_ + " ... " + std::to_string(seconds) + " s";
    lock.unlock(); // a stopped terminal blocks the write
    show('\r' + line);
    lock.lock();
  }
  if (!line.empty()) {
    show('\r' + std::string(line.size(), ' ') + '\r');
  }
}

void Progress::show(const std::string& text) const {
  // A terminal that has gone away does not disturb the request.
  [[maybe_unused]] const auto written = write(descriptor_, text.data(), text.size());
}

} // namespace connector::host
