#pragma once

#include <connector/common/v1/Fault.h>

#include <string>
#include <vector>

namespace connector::file::v1 {

/// Maps the exception that is being handled to a fault with one condition. Call it in a catch
/// clause. The fault of a FileServiceException has the exception's text (UTF-8) and paths. For any
/// other exception it has `contextText` and `paths`, and the exception's text is logged.
common::v1::Fault currentFault(const std::string& contextText,
                               const std::vector<std::u16string>& paths);

} // namespace connector::file::v1
