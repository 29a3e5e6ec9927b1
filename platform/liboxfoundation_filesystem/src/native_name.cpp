#include "native_name.h"

#include "plain_text.h"

#include <fl/filesystem/exceptions.h>

#include <boost/locale/utf.hpp>

#include <cerrno>
#include <iterator>

namespace fl::filesystem::detail {

namespace {

namespace utf = boost::locale::utf;

using fl::detail::append_plain;

// Byte b becomes ESCAPE_BASE + b, in the private use area; only 0x80 to 0xFF occur.
constexpr utf::code_point ESCAPE_BASE = 0xEF00;

bool is_escape(utf::code_point character) {
  return character >= ESCAPE_BASE + 0x80 && character <= ESCAPE_BASE + 0xFF;
}

bool is_malformed(utf::code_point character) {
  return character == utf::illegal || character == utf::incomplete;
}

template <typename Bytes>
void append_native(Bytes& bytes, std::u16string_view path, std::u16string_view whole) {
  bytes.reserve(path.size() + 1);
  bool escaped = false;
  const auto* position = append_plain(bytes, path.begin(), path.end());
  while (position != path.end()) {
    const utf::code_point character = utf::utf_traits<char16_t>::decode(position, path.end());
    if (is_malformed(character) || character == 0) {
      throw FileNameConversionFailure(EILSEQ, std::u16string(whole));
    }
    if (is_escape(character)) {
      bytes.push_back(static_cast<char>(character - ESCAPE_BASE));
      escaped = true;
    } else {
      utf::utf_traits<char>::encode(character, std::back_inserter(bytes));
    }
    position = append_plain(bytes, position, path.end());
  }
  if (escaped && native_to_utf16({bytes.data(), bytes.size()}) != path) {
    throw FileNameConversionFailure(EILSEQ, std::u16string(whole));
  }
}

} // namespace

std::u16string native_to_utf16(std::string_view bytes) {
  std::u16string text;
  native_to_utf16(bytes, text);
  return text;
}

void native_to_utf16(std::string_view bytes, std::u16string& text) {
  text.clear();
  text.reserve(bytes.size());
  const auto* position = append_plain(text, bytes.begin(), bytes.end());
  while (position != bytes.end()) {
    const auto* next = position;
    const utf::code_point character = utf::utf_traits<char>::decode(next, bytes.end());
    if (is_malformed(character) || is_escape(character)) {
      text += static_cast<char16_t>(ESCAPE_BASE + static_cast<unsigned char>(*position));
      next = position + 1;
    } else {
      utf::utf_traits<char16_t>::encode(character, std::back_inserter(text));
    }
    position = append_plain(text, next, bytes.end());
  }
}

std::string utf16_to_native(std::u16string_view path) {
  std::string bytes;
  append_native(bytes, path, path);
  return bytes;
}

native_path::native_path(std::u16string_view path, std::u16string_view whole) {
  append_native(bytes_, path, whole);
  bytes_.push_back('\0');
}

} // namespace fl::filesystem::detail
