#include <fl/log/Logger.h>

#include <Poco/Logger.h>

namespace fl::log {

Logger::Logger(const std::string& name)
    : logger_(&Poco::Logger::get(name), [](Poco::Logger* logger) { logger->release(); }) {
  logger_->duplicate();
}

void Logger::warning(const std::string& text) {
  logger_->warning(text);
}

} // namespace fl::log
