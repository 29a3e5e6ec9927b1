#include "native_name.h"

#include <fl/filesystem/exceptions.h>

#include <boost/locale/utf.hpp>

#include <cerrno>
#include <iterator>

namespace fl::filesystem::detail {

namespace {

namespace utf = boost::locale::utf;

// An escaped byte b (malformed UTF-8, or part of an escape character) becomes ESCAPE_BASE + b.
constexpr utf::code_point ESCAPE_BASE = 0xEF00;

bool is_escape(utf::code_point character) {
  return character >= ESCAPE_BASE + 0x80 && character <= ESCAPE_BASE + 0xFF;
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
      text += static_cast<char16_t>(ESCAPE_BASE + static_cast<unsigned char>(*position));
      next = position + 1;
    } else {
      utf::utf_traits<char16_t>::encode(character, std::back_inserter(text));
    }
    position = next;
  }
  return text;
}

std::string utf16_to_native(std::u16string_view path) {
  return utf16_to_native(path, path);
}

std::string utf16_to_native(std::u16string_view part, std::u16string_view path) {
  std::string bytes;
  bytes.reserve(part.size());
  bool escaped = false;
  const auto* position = part.begin();
  while (position != part.end()) {
    const utf::code_point character = utf::utf_traits<char16_t>::decode(position, part.end());
    if (is_malformed(character) || character == 0) {
      throw FileNameConversionFailure(EILSEQ, std::u16string(path));
    }
    if (is_escape(character)) {
      bytes.push_back(static_cast<char>(character - ESCAPE_BASE));
      escaped = true;
    } else {
      utf::utf_traits<char>::encode(character, std::back_inserter(bytes));
    }
  }
  if (escaped && native_to_utf16(bytes) != part) {
    throw FileNameConversionFailure(EILSEQ, std::u16string(path));
  }
  return bytes;
}

} // namespace fl::filesystem::detail
