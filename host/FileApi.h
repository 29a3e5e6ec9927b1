#pragma once

#include "JsonRpc.h"

#include <memory>

namespace connector::host {

/// Assembles the file service with its provider and converters, as a hosting framework does. The
/// provider runs as long as the object exists.
std::unique_ptr<Api> makeFileApi();

} // namespace connector::host
