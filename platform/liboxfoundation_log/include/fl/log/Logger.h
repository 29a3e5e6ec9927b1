#pragma once

#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace Poco {
class Logger;
}

namespace fl::log {

/// A named diagnostic log. Writes nothing until the process gives a channel to the Poco logger of
/// that name or to the root logger. Thread-safe.
class Logger {
public:
  explicit Logger(const std::string& name);

  void warning(const std::string& text);

private:
  std::shared_ptr<Poco::Logger> logger_; // shared with Poco, which releases it at shutdown
};

} // namespace fl::log

#pragma GCC visibility pop
