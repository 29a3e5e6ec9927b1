#pragma once

#include <fl/filesystem/upath.h>

#include <string>

namespace fl::filesystem::detail {

// Functions on the text of a path, without system calls. "." and ".." are ordinary components.

/// Returns the last component, ignoring separators at the end. Empty for "/" and the empty path.
std::u16string extract_filename(const std::u16string& path);

/// Returns the path without its last component and the separators around it. "/" for "/" and for an
/// entry of "/"; empty for a single relative component.
std::u16string extract_parent_path(const std::u16string& path);

/// Appends `name` to `base`. Inserts a separator if `separate` is set and `base` is neither empty
/// nor ends with one.
void concatenate_pathname(std::u16string& base, const std::u16string& name, bool separate);

/// Returns the platform's form of a path component: here `name` itself, without a copy.
const std::u16string& make_native_form(const std::u16string& name, bool component);

/// Returns the path as the bytes that system calls take. Each code unit U+EF80 to U+EFFF becomes
/// one byte, 0x80 to 0xFF.
std::string make_native_access_form_i18n(const std::u16string& path);

/// The same, with each run of separators replaced by one.
std::string make_native_access_form_with_cleanup_i18n(const std::u16string& path);

} // namespace fl::filesystem::detail
