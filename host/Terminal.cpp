#include "Terminal.h"

#include <Poco/Environment.h>
#include <Poco/Format.h>

#include <chrono>
#include <iostream>
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

std::string forTerminal(int descriptor, const std::string& text) {
  return isatty(descriptor) == 0 ? text : withEscapedControls(text, "\n\t");
}

std::string withEscapedControls(std::string_view text, std::string_view kept) {
  constexpr char c1 = '\xC2'; // the first byte of U+0080 to U+00BF in UTF-8
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isPair = text[i] == c1 && i + 1 < text.size();
    const auto code = static_cast<unsigned char>(isPair ? text[i + 1] : text[i]);
    const bool isControl = isPair ? code >= 0x80 && code < 0xA0 : code < 0x20 || code == 0x7F;
    if (!isControl || kept.find(text[i]) != std::string_view::npos) {
      result += text[i];
      continue;
    }
    result += Poco::format("\\u%04x", static_cast<unsigned>(code));
    i += isPair ? 1 : 0;
  }
  return result;
}

void printDiagnostic(const std::string& text) {
  std::cerr << forTerminal(STDERR_FILENO, "connector-host: " + text + '\n');
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
    return; // the request needs no progress line
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
  // Without the terminal, the request goes on.
  [[maybe_unused]] const auto written = write(descriptor_, text.data(), text.size());
}

} // namespace connector::host
