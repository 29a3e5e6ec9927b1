#pragma once

#include <boost/container/small_vector.hpp>

#include <string>
#include <string_view>

/// A file name is bytes; a path here is UTF-16. Bytes that are valid UTF-8 are that text. Every
/// other byte 0x80 to 0xFF is one code unit U+EF80 to U+EFFF. A name that contains these code
/// points as valid UTF-8 is mapped byte by byte in the same way. So every name on disk has exactly
/// one UTF-16 form and can be listed, opened, renamed and deleted.
namespace fl::filesystem::detail {

/// The one UTF-16 form of a name or path on disk. Never fails.
std::u16string native_to_utf16(std::string_view bytes);

/// The same into a text that keeps its memory.
void native_to_utf16(std::string_view bytes, std::u16string& text);

/// The bytes of a UTF-16 path; the inverse of native_to_utf16. Throws FileNameConversionFailure
/// for a text that is not such a form: with a NUL, an unpaired surrogate, or escaped bytes that
/// together are valid UTF-8 and so have another form.
std::string utf16_to_native(std::u16string_view path);

/// The bytes of a path for a system call, mostly without memory from the heap. Throws as
/// utf16_to_native.
class native_path {
public:
  explicit native_path(std::u16string_view path)
      : native_path(path, path) {}

  /// The bytes of `path`, which is part of `whole`; the exception names `whole`.
  native_path(std::u16string_view path, std::u16string_view whole);

  [[nodiscard]] const char* c_str() const noexcept { return bytes_.data(); }

private:
  boost::container::small_vector<char, 256> bytes_;
};

} // namespace fl::filesystem::detail
