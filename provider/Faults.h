#pragma once

#include <connector/common/v1/Fault.h>

#include <string>
#include <vector>

namespace connector::file::v1 {

/// Maps the exception that is being handled to a fault with one condition. Call it in a catch
/// clause. The fault of a FileServiceException has its id, message (UTF-8), condition and paths.
/// For any other exception, the fault has `contextText` and `paths`, and `what()` is logged.
common::v1::Fault currentFault(const std::string& contextText,
                               const std::vector<std::u16string>& paths);

} // namespace connector::file::v1
