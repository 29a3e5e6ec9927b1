#pragma once

#include "JsonRpc.h"

#include <memory>

namespace connector::host {

/// Returns an Api that executes requests by `api` and writes one line for each to standard error:
/// its type, duration and outcome. From this call on, the process also writes there the causes of
/// faults, which the service logs.
std::unique_ptr<Api> makeLoggingApi(std::unique_ptr<Api> api);

} // namespace connector::host
