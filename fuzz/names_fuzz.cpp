// File names as bytes, as UTF-16 and as UTF-8: every name on disk has exactly one UTF-16 form, and
// no text is too broken to be shown.

#include "Check.h"
#include "native_name.h"

#include <connector/file_common/v1/FileInfo.h>
#include <connector/file_common/v1/FileNames.h>
#include <connector/file_common/v1/Json.h>
#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/path.h>
#include <fl/i18n/convert.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace {

using connector::fuzz::require;
using namespace fl::filesystem::detail;

const fl::i18n::codecvt_ustring_to_string toUtf8("UTF-8", true);
const fl::i18n::codecvt_string_to_ustring fromUtf8("UTF-8");

std::optional<std::string> nativeForm(const std::u16string& path) {
  try {
    return utf16_to_native(path);
  } catch (const fl::filesystem::FileNameConversionFailure&) {
    return std::nullopt;
  }
}

void checkBytes(const std::string& bytes) {
  const std::u16string name = native_to_utf16(bytes);
  const auto back = nativeForm(name);
  require(back.has_value() == (bytes.find('\0') == std::string::npos), "only NUL has no way back");
  require(!back || *back == bytes, "bytes survive");

  const std::string shown = fl::i18n::to_string(name, toUtf8);
  require(fl::i18n::to_ustring(shown, fromUtf8) == name, "a name survives JSON's UTF-8");
  const std::u16string replaced = fl::i18n::to_ustring(bytes, fromUtf8);
  require(fl::i18n::to_ustring(fl::i18n::to_string(replaced, toUtf8), fromUtf8) == replaced,
          "what was replaced is text");
}

void checkText(const std::u16string& text) {
  if (const auto bytes = nativeForm(text)) {
    require(native_to_utf16(*bytes) == text, "a path has one form only");
    require(bytes->find('\0') == std::string::npos, "no NUL reaches the system");
  }
  static_cast<void>(fl::i18n::to_string(text, toUtf8));

  const std::u16string name = extract_filename(text);
  require(name.find(u'/') == std::u16string::npos, "a name is one component");
  std::u16string joined = extract_parent_path(text);
  require(name.empty() || joined.size() < text.size(), "a parent is shorter");
  concatenate_pathname(joined, name, true);
  require(extract_filename(joined) == name, "parent and name belong together");

  const connector::file_common::v1::FileInfo info(text, false);
  require(info.getName() == name, "a FileInfo's name is its location's");
  const auto read =
      connector::file_common::v1::toFileInfo(connector::file_common::v1::fromFileInfo(info));
  require(!nativeForm(text) || read.getLocation() == text, "a path survives JSON");
  static_cast<void>(connector::file_common::v1::isValidFileName(text));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkBytes(std::string(data, data + size));
  std::u16string text(size / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
  checkText(text);
  return 0;
}
