#pragma once

#include <fl/i18n/ustring.h>

#include <cstdint>
#include <string>
#include <string_view>

#pragma GCC visibility push(default)

namespace fl::i18n {

/// Names the encoding of the narrow side. Only "UTF-8" is known; std::invalid_argument otherwise.
/// The flag is accepted and has no effect: invalid units are always replaced.
class codecvt_ustring_to_string {
public:
  codecvt_ustring_to_string(std::string_view encoding, bool flag);
};

class codecvt_string_to_ustring {
public:
  explicit codecvt_string_to_ustring(std::string_view encoding);
};

/// UTF-16 to UTF-8; each unpaired surrogate becomes U+FFFD. Never refuses a text.
std::string to_string(const ustring& text, const codecvt_ustring_to_string& codec);

/// UTF-8 to UTF-16; each byte that is not part of valid UTF-8 becomes U+FFFD. Never refuses.
ustring to_ustring(std::string_view text, const codecvt_string_to_ustring& codec);

/// The same from UTF-8.
ustring to_ustring(std::string_view text);

/// Decimal, with a leading "-" when negative.
ustring to_ustring(std::int64_t number);

} // namespace fl::i18n

#pragma GCC visibility pop
