#pragma once

#include <string>

namespace fl::filesystem::detail {

/// Throws the exception of the FsysExceptionBase family for an errno.
[[noreturn]] void throw_errno(int code, const std::u16string& path);

} // namespace fl::filesystem::detail
