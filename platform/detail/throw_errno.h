#pragma once

#include <string>

namespace fl::filesystem::detail {

/// Throws the exception of the FsysExceptionBase family for an errno. No other code chooses the
/// class. The faults' conditions are chosen elsewhere, from the class and the errno.
[[noreturn]] void throw_errno(int code, const std::u16string& path);

} // namespace fl::filesystem::detail
