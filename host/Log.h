#pragma once

#include "JsonRpc.h"

#include <string>

namespace connector::host {

/// Writes one line per request to standard error: its type, duration and outcome. From the first
/// object on, the process also writes there the causes of faults, which the service logs.
/// Thread-safe.
class LoggingApi : public Api {
public:
  /// `api` executes the requests.
  explicit LoggingApi(const Api& api);

  [[nodiscard]] Poco::JSON::Object::Ptr
  execute(const std::string& type, const Poco::JSON::Object::Ptr& params) const override;

private:
  const Api& api_;
};

} // namespace connector::host
