#pragma once

// Functions that no platform library offers. Posix.cpp is the only source of the product that calls
// POSIX or std::filesystem. Paths are absolute. A function that fails throws AccessDenied,
// FileExistsError, or SystemError, with the errno and the path.

#include <fl/filesystem/upath.h>

#include <posix/Attributes.h>
#include <sys/stat.h>

namespace connector::file::v1 {

/// True if `inner` is the directory `outer` or lies beneath it, through any links.
/// False if `inner` is not a directory.
bool isWithin(const fl::filesystem::upath& outer, const fl::filesystem::upath& inner);

/// True if the last component of the path, which must not end with a separator, is a link. False if
/// that cannot be found out.
bool isLink(const fl::filesystem::upath& path);

/// Makes a link `target` with the text of the link `source`. Owner, group and times are not kept.
/// Throws SystemError with EBUSY, and makes no link, if `source` changes meanwhile.
void copyLink(const fl::filesystem::upath& source, const fl::filesystem::upath& target);

/// A directory that is moved to a new directory `target`, and the attributes that it keeps. The new
/// directory is changed only through a descriptor that is opened without following a link, because
/// the kernel's confinement does not restrict a change by path.
class MovedDirectory {
public:
  /// Reads the attributes of `source`.
  MovedDirectory(const fl::filesystem::upath& source, const fl::filesystem::upath& target);

  /// Closes the new directory to everybody but its owner, and removes the default ACL that it may
  /// have inherited. Throws SystemError with EBUSY if it has entries: then another directory has
  /// taken its path.
  void restrictTarget();

  /// Reads the rights of the source again. Call before deleting the source.
  void readRightsAgain();

  /// Gives the attributes to the new directory. Throws SystemError with EBUSY if another directory
  /// has taken its path since restrictTarget.
  void finishTarget() const;

private:
  const fl::filesystem::upath& source_;
  const fl::filesystem::upath& target_;
  posix::Attributes attributes_;
  struct stat restricted_ = {}; // of the new directory
};

} // namespace connector::file::v1
