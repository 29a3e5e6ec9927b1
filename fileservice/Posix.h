#pragma once

// Functions that no platform library offers. Posix.cpp is the only source of the product that calls
// POSIX or std::filesystem. Paths are absolute. Every failure is a SystemError with the errno and
// the path.

#include <fl/filesystem/upath.h>

#include <posix/Attributes.h>

namespace connector::file::v1 {

/// True if `inner` is the directory `outer` or lies beneath it, whatever links lead to either.
/// False if `inner` is not a directory.
bool isWithin(const fl::filesystem::upath& outer, const fl::filesystem::upath& inner);

/// True if the last component of the path, which must not end with a separator, is a link.
bool isLink(const fl::filesystem::upath& path);

/// Makes a link `target` with the text of the link `source`. Owner, group and times are not kept.
void copyLink(const fl::filesystem::upath& source, const fl::filesystem::upath& target);

/// Carries the attributes of a directory over to the new directory that takes its place. The new
/// directory is changed only through a descriptor that is opened without following a link, because
/// the kernel's confinement does not restrict a change by path.
class DirectoryAttributes {
public:
  /// Reads the attributes of `source`.
  explicit DirectoryAttributes(const fl::filesystem::upath& source);

  /// Closes the new directory `target` to everybody but its owner, and removes the default ACL that
  /// it may have inherited.
  void restrict(const fl::filesystem::upath& target);

  /// Gives the attributes to the directory that was restricted. Throws SystemError with EBUSY if
  /// another directory has taken its path.
  void giveTo(const fl::filesystem::upath& target) const;

private:
  posix::Attributes attributes_;
  dev_t device_ = 0; // of the restricted directory, as the inode
  ino_t inode_ = 0;
};

} // namespace connector::file::v1
