#pragma once

// Functions that no platform library offers. Posix.cpp is the only source of the product that calls
// POSIX or std::filesystem. Paths are absolute. If a system call fails, the functions throw
// AccessDenied, FileExistsError or SystemError with its errno and the path.

#include <fl/filesystem/upath.h>

#include <posix/Attributes.h>
#include <sys/stat.h>

namespace connector::file::v1 {

/// Returns whether `inner` is the directory `outer` or is beneath it. Links in both paths are
/// followed. Returns false if `inner` is not a directory.
bool isWithin(const fl::filesystem::upath& outer, const fl::filesystem::upath& inner);

/// Returns whether the path is a link, and false if a system call fails. The path must not end with
/// a separator.
bool isLink(const fl::filesystem::upath& path);

/// Creates the link `target` with the same text as the link `source`. Owner, group and times are
/// not copied. If `source` changes meanwhile, throws SystemError with EBUSY and leaves no `target`.
void copyLink(const fl::filesystem::upath& source, const fl::filesystem::upath& target);

/// Copies the attributes of a moved directory, `source`, to the new directory, `target`. Changes
/// `target` only through a descriptor that was opened without following a link, because the
/// kernel's confinement does not restrict changes by path. Keeps references to both paths.
class MovedDirectory {
public:
  /// Reads the attributes of `source`.
  MovedDirectory(const fl::filesystem::upath& source, const fl::filesystem::upath& target);

  /// Restricts `target` to its owner and removes an inherited default ACL. Throws SystemError with
  /// EBUSY if it has entries, because then another directory has replaced it.
  void restrictTarget();

  /// Reads the rights of `source` again. Call before deleting it.
  void readRightsAgain();

  /// Sets the attributes of `target`. Throws SystemError with EBUSY if another directory has
  /// replaced it since restrictTarget.
  void finishTarget() const;

private:
  const fl::filesystem::upath& source_;
  const fl::filesystem::upath& target_;
  posix::Attributes attributes_;
  struct stat targetStatus_ = {}; // when restrictTarget was called
};

} // namespace connector::file::v1
