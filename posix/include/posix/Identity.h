#pragma once

#include <sys/stat.h>

namespace connector::posix {

/// Returns whether both describe the same file.
inline bool isSameFile(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

} // namespace connector::posix
