#include "confined.h"

#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/path.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace connector::file_common::v1 {

namespace {

/// A file system that does not count its blocks or inodes reports a total of 0.
bool isFull(const struct statvfs& system) {
  const bool root = geteuid() == 0; // may use the reserved blocks and inodes
  const fsblkcnt_t freeBlocks = root ? system.f_bfree : system.f_bavail;
  const fsfilcnt_t freeInodes = root ? system.f_ffree : system.f_favail;
  return (system.f_blocks > 0 && freeBlocks == 0) || (system.f_files > 0 && freeInodes == 0);
}

int checkWritableDirectory(const std::string& path) {
  struct stat status {};

  if (stat(path.c_str(), &status) != 0) {
    return errno;
  }
  if (!S_ISDIR(status.st_mode)) {
    return ENOTDIR;
  }
  if (faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    return errno;
  }
  if (fl::filesystem::detail::is_denied(AT_FDCWD, path.c_str(), true)) {
    return EACCES;
  }

  struct statvfs system {};

  if (statvfs(path.c_str(), &system) != 0) {
    return errno;
  }
  return isFull(system) ? ENOSPC : 0;
}

} // namespace

bool isValidFileName(const fl::i18n::ustring& name) {
  const auto isControl = [](char16_t unit) { return unit < u' ' || unit == u'\x7F'; };
  return !name.empty() && std::none_of(name.begin(), name.end(), isControl);
}

int isWritableDirectory(const fl::i18n::ustring& path, bool /*flag*/) {
  try {
    return checkWritableDirectory(fl::filesystem::detail::make_native_access_form_i18n(path));
  } catch (const fl::filesystem::FileNameConversionFailure&) {
    return EINVAL;
  }
}

} // namespace connector::file_common::v1
