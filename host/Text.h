#pragma once

#include <cstddef>
#include <string_view>

namespace connector::host {

/// One text of the input, without the delimiters of its frame. It refers to bytes owned elsewhere.
struct Text {
  /// Bytes that may be read after the last byte of a padded text; their values are undefined.
  static constexpr std::size_t PADDING = 64;

  explicit Text(std::string_view text, bool padded = false)
      : bytes(withoutByteOrderMarks(text))
      , isPadded(padded) {}

  std::string_view bytes;
  bool isPadded;

private:
  /// Only some versions of the JSON parser skip a byte order mark.
  static std::string_view withoutByteOrderMarks(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    while (text.substr(0, mark.size()) == mark) {
      text.remove_prefix(mark.size());
    }
    return text;
  }
};

} // namespace connector::host
