#pragma once

#include <connector/common/v1/Fault.h>

#include <string>
#include <vector>

namespace connector::file::v1 {

/// Maps the exception that is being handled to a fault with one condition; call it in a catch
/// clause. The fault has the text and the paths of a FileServiceException, and for any other
/// exception `contextText` and `paths`. The cause of the latter is logged.
common::v1::Fault currentFault(const std::string& contextText,
                               const std::vector<std::u16string>& paths);

} // namespace connector::file::v1
