#pragma once

#include <fl/i18n/ustring.h>

#include <cstdint>
#include <string>
#include <string_view>

#pragma GCC visibility push(default)

namespace fl::i18n {

/// Selects the encoding of the bytes. Throws std::invalid_argument unless it is "UTF-8". The flag
/// has no effect: invalid text is always replaced.
class codecvt_ustring_to_string {
public:
  codecvt_ustring_to_string(std::string_view encoding, bool flag);
};

class codecvt_string_to_ustring {
public:
  explicit codecvt_string_to_ustring(std::string_view encoding);
};

/// UTF-16 to UTF-8; each unpaired surrogate becomes U+FFFD. Accepts every text.
std::string to_string(const ustring& text, const codecvt_ustring_to_string& codec);

/// UTF-8 to UTF-16; each byte that is not part of valid UTF-8 becomes U+FFFD. Accepts every text.
ustring to_ustring(std::string_view text, const codecvt_string_to_ustring& codec);

/// The same without a codec.
ustring to_ustring(std::string_view text);

/// Decimal, with a leading "-" if negative.
ustring to_ustring(std::int64_t number);

} // namespace fl::i18n

#pragma GCC visibility pop
