#pragma once

#include <fl/i18n/ustring.h>

namespace connector::file_common::v1 {

/// Takes a name or a whole path. Returns false if it is empty or contains a control character
/// (U+0000 to U+001F, U+007F).
bool isValidFileName(const fl::i18n::ustring& name);

/// Returns 0 if the process may create entries in the directory, else an errno: 2 if it is missing,
/// 20 if it is not a directory, 13 without write or search permission or if the confinement of the
/// process denies it, 30 on a read-only file system, 28 if the file system has no free block or
/// inode for the caller, 22 if the path cannot be converted to bytes. Changes nothing. `flag` has
/// no effect.
int isWritableDirectory(const fl::i18n::ustring& path, bool flag);

} // namespace connector::file_common::v1
