#include "native_name.h"

#include <fl/filesystem/path.h>

#include <algorithm>
#include <string_view>

namespace fl::filesystem::detail {

namespace {

constexpr char16_t SEPARATOR = u'/';

std::u16string_view without_end_separators(std::u16string_view path) {
  return path.substr(0, path.find_last_not_of(SEPARATOR) + 1);
}

} // namespace

std::u16string extract_filename(const std::u16string& path) {
  const std::u16string_view trimmed = without_end_separators(path);
  return std::u16string(trimmed.substr(trimmed.find_last_of(SEPARATOR) + 1));
}

std::u16string extract_parent_path(const std::u16string& path) {
  const std::u16string_view trimmed = without_end_separators(path);
  const std::u16string_view parent = trimmed.substr(0, trimmed.find_last_of(SEPARATOR) + 1);
  if (const std::u16string_view directory = without_end_separators(parent); !directory.empty()) {
    return std::u16string(directory);
  }
  const bool rooted = !path.empty() && path.front() == SEPARATOR;
  return rooted ? std::u16string(1, SEPARATOR) : std::u16string();
}

void concatenate_pathname(std::u16string& base, const std::u16string& name, bool separate) {
  if (separate && !base.empty() && base.back() != SEPARATOR) {
    base += SEPARATOR;
  }
  base += name;
}

const std::u16string& make_native_form(const std::u16string& name, bool /*component*/) {
  return name;
}

std::string make_native_access_form_i18n(const std::u16string& path) {
  return utf16_to_native(path);
}

std::string make_native_access_form_with_cleanup_i18n(const std::u16string& path) {
  std::u16string clean;
  clean.reserve(path.size());
  std::unique_copy(
      path.begin(), path.end(), std::back_inserter(clean),
      [](char16_t left, char16_t right) { return left == SEPARATOR && right == SEPARATOR; });
  return utf16_to_native(clean);
}

} // namespace fl::filesystem::detail
