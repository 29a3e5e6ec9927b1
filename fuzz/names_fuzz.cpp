// File names as bytes and as UTF-16: every name on disk has exactly one UTF-16 form, which survives
// JSON, and no other text leads to a name.

#include "Check.h"
#include "native_name.h"

#include <fl/filesystem/exceptions.h>
#include <fl/i18n/convert.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace {

using connector::fuzz::require;
using namespace fl::filesystem::detail;

std::optional<std::string> nativeForm(const std::u16string& name) {
  try {
    return utf16_to_native(name);
  } catch (const fl::filesystem::FileNameConversionFailure&) {
    return std::nullopt;
  }
}

void checkBytes(const std::string& bytes) {
  const std::u16string name = native_to_utf16(bytes);
  const bool hasNul = bytes.find('\0') != std::string::npos;
  require(nativeForm(name) == (hasNul ? std::nullopt : std::optional(bytes)), "bytes survive");
  const std::string shown = fl::i18n::to_string(name, {"UTF-8", true});
  require(fl::i18n::to_ustring(shown) == name, "a name survives JSON's UTF-8");
}

void checkText(const std::u16string& text) {
  static_cast<void>(fl::i18n::to_string(text, {"UTF-8", true}));
  if (const auto bytes = nativeForm(text)) {
    require(native_to_utf16(*bytes) == text, "a name has one form only");
    require(bytes->find('\0') == std::string::npos, "no NUL reaches the system");
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkBytes(std::string(data, data + size));
  std::u16string text(size / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
  checkText(text);
  return 0;
}
