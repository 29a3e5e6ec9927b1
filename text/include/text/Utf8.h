#pragma once

#include <fl/i18n/convert.h>

#include <string>

namespace connector::text {

inline std::string toUtf8(const fl::i18n::ustring& text) {
  return fl::i18n::to_string(text, fl::i18n::codecvt_ustring_to_string("UTF-8", true));
}

} // namespace connector::text
