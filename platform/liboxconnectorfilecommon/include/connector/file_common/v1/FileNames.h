#pragma once

#include <fl/i18n/ustring.h>

#pragma GCC visibility push(default)

namespace connector::file_common::v1 {

/// False for the empty string and for one that holds a control character (U+0000 to U+001F,
/// U+007F) anywhere; true for all else. Takes a name or a whole path.
bool isValidFileName(const fl::i18n::ustring& name);

/// Returns 0 if the process may create entries in the directory, else an errno: 2 missing, 20 not a
/// directory, 13 no write or search permission, or denied by the process's confinement, 30
/// read-only file system, 28 if the file system counts blocks or inodes and none is free for the
/// caller, 22 for a path that cannot be turned into bytes. Changes nothing. `flag` has no effect.
int isWritableDirectory(const fl::i18n::ustring& path, bool flag);

} // namespace connector::file_common::v1

#pragma GCC visibility pop
