#pragma once

#include <fl/filesystem/upath.h>
#include <fl/i18n/ustring.h>

namespace connector::file::v1 {

using fl::i18n::ustring;

/// A relative path starts in the process's current directory.
fl::filesystem::upath toAbsolutePath(const ustring& path);

/// `name` as a further component of `directory`.
fl::filesystem::upath childOf(const fl::filesystem::upath& directory, const ustring& name);

} // namespace connector::file::v1
