#pragma once

#include <connector/common/v1/Fault.h>

#include <string>
#include <vector>

namespace connector::file::v1 {

/// The one fault with one condition that stands for the exception being handled; call it in a catch
/// clause. A refusal of the file service speaks for itself; of anything else the fault tells what
/// the request was about: `contextText` and `paths`.
common::v1::Fault currentFault(const std::string& contextText,
                               const std::vector<std::u16string>& paths);

} // namespace connector::file::v1
