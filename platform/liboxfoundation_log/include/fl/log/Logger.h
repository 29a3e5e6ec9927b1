#pragma once

#include <string>
#include <utility>

#pragma GCC visibility push(default)

namespace fl::log {

/// A named diagnostic log. Writes nothing until the process gives a channel to the Poco logger of
/// that name or to the root logger. Thread-safe.
class Logger {
public:
  explicit Logger(std::string name)
      : name_(std::move(name)) {}

  void warning(const std::string& text);

private:
  std::string name_;
};

} // namespace fl::log

#pragma GCC visibility pop
