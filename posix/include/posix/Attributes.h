#pragma once

#include <sys/stat.h>
#include <vector>

namespace connector::posix {

/// The attributes that a file or directory keeps when it is moved by copying: permission bits,
/// access ACL, owner, group, and modification time.
///
/// Both functions take an open descriptor and return 0, or the errno of the call that failed.
class Attributes {
public:
  /// Reads the attributes of a file or directory.
  [[nodiscard]] int readFrom(int descriptor);

  /// Sets the attributes of a copy that only its owner can use so far. Nobody but the copy's owner
  /// gets a right that the original did not grant:
  ///
  /// - Owner and group are set where the system permits. Without the original's owner the copy is
  ///   not set-user-ID. Without the original's group it is not set-group-ID, and both the group and
  ///   all others get only the rights that the original granted to both.
  /// - Where the file system cannot store the original's ACL, group and others get only the rights
  ///   that every entry of the ACL but the owner's granted.
  /// - An ACL that the copy inherited from its directory is removed.
  ///
  /// A file system that refuses permission bits or times as such (FAT, for one) is not an error.
  [[nodiscard]] int giveTo(int descriptor) const;

  /// The status that `readFrom` found.
  [[nodiscard]] const struct stat& status() const noexcept { return status_; }

private:
  /// The rights that everybody but the owner has, as the lowest three permission bits.
  [[nodiscard]] mode_t sharedRights() const;

  struct stat status_ = {};
  std::vector<char> acl_; // as the kernel stores it; empty without an ACL
};

} // namespace connector::posix
