#pragma once

#include <fl/i18n/convert.h>

#include <string>
#include <string_view>

namespace connector::text {

// Invalid text becomes U+FFFD. The flag of the codec has no effect.

inline std::string toUtf8(const fl::i18n::ustring& text) {
  return fl::i18n::to_string(text, fl::i18n::codecvt_ustring_to_string("UTF-8", true));
}

inline fl::i18n::ustring fromUtf8(std::string_view text) {
  return fl::i18n::to_ustring(text, fl::i18n::codecvt_string_to_ustring("UTF-8"));
}

} // namespace connector::text
