#pragma once

#include <fl/filesystem/upath.h>

#include <string>

#pragma GCC visibility push(default)

namespace fl::filesystem::detail {

// Pure text functions, without system calls. "." and ".." are components like others.

/// The last component; separators at the end do not count. Empty for a root and for no path.
std::u16string extract_filename(const std::u16string& path);

/// The path without its last component and without the separators before that; separators at the
/// end do not count. "/" for a root and for a component directly below it; empty for a single one.
std::u16string extract_parent_path(const std::u16string& path);

/// Appends `name` to `base` as a further component, in place, with a separator between them when
/// `separate` is set and `base` neither is empty nor ends in one.
void concatenate_pathname(std::u16string& base, const std::u16string& name, bool separate);

/// The platform's form of a path component, which here is the component itself: the result is
/// `name`, not a copy.
const std::u16string& make_native_form(const std::u16string& name, bool component);

/// The bytes under which the system knows the path; see native_name.h for the mapping.
std::string make_native_access_form_i18n(const std::u16string& path);

/// The same with runs of separators made one.
std::string make_native_access_form_with_cleanup_i18n(const std::u16string& path);

} // namespace fl::filesystem::detail

#pragma GCC visibility pop
