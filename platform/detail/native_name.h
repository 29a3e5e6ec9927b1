#pragma once

#include <string>
#include <string_view>

/// Conversion between file names, which are bytes, and paths, which are UTF-16. Bytes that are
/// valid UTF-8 are converted to that text. Every other byte 0x80 to 0xFF becomes one code unit
/// U+EF80 to U+EFFF. If a name contains one of these code points as valid UTF-8, each byte of the
/// code point is converted in the same way. Every name on disk therefore has exactly one UTF-16
/// form and can be listed, opened, renamed and deleted.
namespace fl::filesystem::detail {

/// Returns the UTF-16 form of a name or path on disk. Accepts all bytes.
std::u16string native_to_utf16(std::string_view bytes);

/// The inverse of native_to_utf16. Throws FileNameConversionFailure if no bytes have this form: it
/// has a NUL, an unpaired surrogate, or escaped bytes that together are valid UTF-8.
std::string utf16_to_native(std::u16string_view path);

/// Converts `part`, a part of `path`; the exception names `path`.
std::string utf16_to_native(std::u16string_view part, std::u16string_view path);

} // namespace fl::filesystem::detail
