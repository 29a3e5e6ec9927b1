#pragma once

#include "JsonRpc.h"
#include "Options.h"

#include <memory>
#include <vector>

namespace connector::host {

/// Assembles the file service with its provider and converters, as a hosting framework does. The
/// provider runs as long as the object exists.
std::unique_ptr<Api> makeFileApi();

/// Returns an Api that executes requests by `api` and writes one line for each to standard error:
/// its type, duration and outcome. From this call on, the process also writes there the causes of
/// faults, which the service logs.
std::unique_ptr<Api> makeLoggingApi(std::unique_ptr<Api> api);

/// Returns the Model Context Protocol: an Api that offers each message of `files` as a tool. A
/// request whose `_meta` has a protocol version belongs to the stateless protocol of 2026-07-28.
/// Any other request belongs to the earlier protocol, which begins with `initialize`. No state is
/// kept between requests. `roots` are the open directories of the confinement.
std::unique_ptr<Api> makeMcpApi(std::unique_ptr<Api> files, const Options& options,
                                const std::vector<int>& roots);

} // namespace connector::host
