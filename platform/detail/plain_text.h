#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>

// Characters that are one unit in UTF-8 as in UTF-16: all of nearly every path.
namespace fl::detail {

/// How many such characters, U+0001 to U+007F, a text begins with.
template <typename Unit>
std::size_t plain_length(const Unit* text, std::size_t size) {
  using unit_value = std::make_unsigned_t<std::conditional_t<sizeof(Unit) == 1, char, short>>;
  constexpr std::size_t block = 8; // whole blocks, so that the compiler takes a block in one go
  constexpr unit_value first_other = 0x80;
  std::size_t length = 0;
  while (size - length >= block) {
    unit_value bits = 0;
    for (std::size_t index = 0; index < block; ++index) {
      const auto value = static_cast<unit_value>(text[length + index]);
      bits |= static_cast<unit_value>(value | (value - 1)); // 0 becomes all ones
    }
    if (bits >= first_other) {
      break;
    }
    length += block;
  }
  const auto is_plain = [](Unit unit) { return unit > 0 && unit < 0x80; };
  return static_cast<std::size_t>(std::find_if_not(text + length, text + size, is_plain) - text);
}

/// Appends the plain characters from `position` on; where they end.
template <typename Text, typename Unit>
const Unit* append_plain(Text& text, const Unit* position, const Unit* end) {
  const auto length = plain_length(position, static_cast<std::size_t>(end - position));
  const auto before = text.size();
  text.resize(before + length);
  std::transform(position, position + length, text.data() + before,
                 [](Unit unit) { return static_cast<typename Text::value_type>(unit); });
  return position + length;
}

} // namespace fl::detail
