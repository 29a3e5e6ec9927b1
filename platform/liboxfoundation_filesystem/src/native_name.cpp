#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/native_name.h>

#include <boost/locale/utf.hpp>

#include <cerrno>
#include <iterator>

namespace fl::filesystem::detail {

namespace {

namespace utf = boost::locale::utf;

// Byte b stands at escape_base + b, in the private use area; only 0x80 to 0xFF occur.
constexpr utf::code_point escape_base = 0xEF00;

bool is_escape(utf::code_point character) {
  return character >= escape_base + 0x80 && character <= escape_base + 0xFF;
}

bool is_malformed(utf::code_point character) {
  return character == utf::illegal || character == utf::incomplete;
}

} // namespace

std::u16string native_to_utf16(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  const auto* position = bytes.begin();
  while (position != bytes.end()) {
    const auto* next = position;
    const utf::code_point character = utf::utf_traits<char>::decode(next, bytes.end());
    if (is_malformed(character) || is_escape(character)) {
      text += static_cast<char16_t>(escape_base + static_cast<unsigned char>(*position));
      ++position;
      continue;
    }
    utf::utf_traits<char16_t>::encode(character, std::back_inserter(text));
    position = next;
  }
  return text;
}

std::string utf16_to_native(std::u16string_view path) {
  std::string bytes;
  bytes.reserve(path.size());
  bool escaped = false;
  for (const auto* position = path.begin(); position != path.end();) {
    const utf::code_point character = utf::utf_traits<char16_t>::decode(position, path.end());
    if (is_malformed(character) || character == 0)
      throw FileNameConversionFailure(EILSEQ, std::u16string(path));
    if (is_escape(character)) {
      bytes += static_cast<char>(character - escape_base);
      escaped = true;
      continue;
    }
    utf::utf_traits<char>::encode(character, std::back_inserter(bytes));
  }
  if (escaped && native_to_utf16(bytes) != path)
    throw FileNameConversionFailure(EILSEQ, std::u16string(path));
  return bytes;
}

} // namespace fl::filesystem::detail
