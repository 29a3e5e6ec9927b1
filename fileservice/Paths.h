#pragma once

#include <fl/filesystem/upath.h>
#include <fl/i18n/ustring.h>

namespace connector::file::v1 {

using fl::i18n::ustring;

/// Returns the absolute path. A relative path starts in the process's current directory.
fl::filesystem::upath toAbsolutePath(const ustring& path);

/// Returns `directory` with `name` appended as a further component.
fl::filesystem::upath childOf(const fl::filesystem::upath& directory, const ustring& name);

} // namespace connector::file::v1
