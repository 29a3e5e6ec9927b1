#include <fl/log/Logger.h>

#include <Poco/Logger.h>

namespace fl::log {

void Logger::warning(const std::string& text) {
  Poco::Logger::get(name_).warning(text);
}

} // namespace fl::log
