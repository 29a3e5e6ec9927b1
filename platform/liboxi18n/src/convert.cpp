#include <fl/i18n/convert.h>

#include <boost/locale/utf.hpp>

#include <iterator>
#include <stdexcept>

namespace fl::i18n {

namespace {

namespace utf = boost::locale::utf;

constexpr utf::code_point REPLACEMENT_CHARACTER = 0xFFFD;

void require_utf8(std::string_view encoding) {
  if (encoding != "UTF-8") {
    throw std::invalid_argument("Unknown encoding: " + std::string(encoding));
  }
}

template <typename To, typename From>
std::basic_string<To> convert(std::basic_string_view<From> text) {
  std::basic_string<To> result;
  result.reserve(text.size());
  const From* position = text.begin();
  while (position != text.end()) {
    const From* next = position;
    utf::code_point point = utf::utf_traits<From>::decode(next, text.end());
    if (!utf::is_valid_codepoint(point)) {
      // Replaces only one unit: the decoder may have read beyond the start of a valid character.
      point = REPLACEMENT_CHARACTER;
      next = position + 1;
    }
    utf::utf_traits<To>::encode(point, std::back_inserter(result));
    position = next;
  }
  return result;
}

} // namespace

codecvt_ustring_to_string::codecvt_ustring_to_string(std::string_view encoding, bool /*flag*/) {
  require_utf8(encoding);
}

codecvt_string_to_ustring::codecvt_string_to_ustring(std::string_view encoding) {
  require_utf8(encoding);
}

std::string to_string(const ustring& text, const codecvt_ustring_to_string& /*codec*/) {
  return convert<char>(std::u16string_view(text));
}

ustring to_ustring(std::string_view text, const codecvt_string_to_ustring& /*codec*/) {
  return to_ustring(text);
}

ustring to_ustring(std::string_view text) {
  return convert<char16_t>(text);
}

ustring to_ustring(std::int64_t number) {
  return to_ustring(std::to_string(number));
}

} // namespace fl::i18n
