#pragma once

#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace Poco {
class Logger;
}

namespace fl::log {

/// A named diagnostic log. Nothing is written anywhere until the process gives the Poco logger of
/// that name, or the root logger, a channel. Thread-safe.
class Logger {
public:
  explicit Logger(const std::string& name);

  void debug(const std::string& text);
  void warning(const std::string& text);

private:
  std::shared_ptr<Poco::Logger> logger_; // Shared with Poco, which lets go of it at its shutdown.
};

} // namespace fl::log

#pragma GCC visibility pop
