#include "native_path.h"

#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/native_name.h>

#include <boost/locale/utf.hpp>

#include <algorithm>
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

/// A character that is one unit in either form, which nearly all of nearly every path is.
template <typename Unit>
bool is_plain(Unit unit) {
  return unit > 0 && unit < 0x80;
}

/// Appends the plain characters from `position` on; where they end.
template <typename Text, typename Position>
Position append_plain(Text& text, Position position, Position end) {
  const Position stop = std::find_if_not(position, end, [](auto unit) { return is_plain(unit); });
  const auto before = text.size();
  text.resize(before + static_cast<std::size_t>(stop - position));
  std::transform(position, stop, text.data() + before,
                 [](auto unit) { return static_cast<typename Text::value_type>(unit); });
  return stop;
}

template <typename Bytes>
void append_native(Bytes& bytes, std::u16string_view path) {
  bytes.reserve(path.size() + 1);
  bool escaped = false;
  const auto* position = append_plain(bytes, path.begin(), path.end());
  while (position != path.end()) {
    const utf::code_point character = utf::utf_traits<char16_t>::decode(position, path.end());
    if (is_malformed(character) || character == 0) {
      throw FileNameConversionFailure(EILSEQ, std::u16string(path));
    }
    if (is_escape(character)) {
      bytes.push_back(static_cast<char>(character - escape_base));
      escaped = true;
    } else {
      utf::utf_traits<char>::encode(character, std::back_inserter(bytes));
    }
    position = append_plain(bytes, position, path.end());
  }
  if (escaped && native_to_utf16({bytes.data(), bytes.size()}) != path) {
    throw FileNameConversionFailure(EILSEQ, std::u16string(path));
  }
}

} // namespace

std::u16string native_to_utf16(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  const auto* position = append_plain(text, bytes.begin(), bytes.end());
  while (position != bytes.end()) {
    const auto* next = position;
    const utf::code_point character = utf::utf_traits<char>::decode(next, bytes.end());
    if (is_malformed(character) || is_escape(character)) {
      text += static_cast<char16_t>(escape_base + static_cast<unsigned char>(*position));
      next = position + 1;
    } else {
      utf::utf_traits<char16_t>::encode(character, std::back_inserter(text));
    }
    position = append_plain(text, next, bytes.end());
  }
  return text;
}

std::string utf16_to_native(std::u16string_view path) {
  std::string bytes;
  append_native(bytes, path);
  return bytes;
}

native_path::native_path(std::u16string_view path) {
  append_native(bytes_, path);
  bytes_.push_back('\0');
}

} // namespace fl::filesystem::detail
