#pragma once

#include <string>
#include <string_view>

#pragma GCC visibility push(default)

/// A file name is bytes; a path here is UTF-16. Bytes that are valid UTF-8 are that text. Every
/// other byte 0x80 to 0xFF is one code unit U+EF80 to U+EFFF, and a name that holds these code
/// points as real UTF-8 is taken byte for byte in the same way, so that every name on disk has
/// exactly one UTF-16 form and can be listed, opened, renamed and deleted.
namespace fl::filesystem::detail {

/// The one UTF-16 form of a name or path on disk. Never fails.
std::u16string native_to_utf16(std::string_view bytes);

/// The same into a text that keeps its memory.
void native_to_utf16(std::string_view bytes, std::u16string& text);

/// The bytes of a UTF-16 path; the inverse of native_to_utf16. Throws FileNameConversionFailure
/// for what is no such form: a NUL, an unpaired surrogate, or escaped bytes that together are
/// plain UTF-8 and so have another form.
std::string utf16_to_native(std::u16string_view path);

} // namespace fl::filesystem::detail

#pragma GCC visibility pop
