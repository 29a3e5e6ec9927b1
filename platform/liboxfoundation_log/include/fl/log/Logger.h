#pragma once

#include <string>

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
  Poco::Logger* logger_;
};

} // namespace fl::log
