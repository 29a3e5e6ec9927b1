#pragma once

#include <sys/stat.h>
#include <vector>

namespace connector::posix {

/// The attributes that a copy takes over from the original file or directory: permission bits,
/// POSIX access ACL, owner, group, and modification time.
///
/// Each function takes an open descriptor and returns 0, or the errno of the call that failed.
class Attributes {
public:
  /// Reads the attributes of the original.
  [[nodiscard]] int readFrom(int descriptor);

  /// Reads everything but the time again, because rights may have been revoked meanwhile. Returns
  /// EBUSY if the descriptor refers to another file.
  [[nodiscard]] int readRightsAgain(int descriptor);

  /// Sets the attributes of a copy, which must be accessible only to its owner. Nobody except the
  /// owner gets a right that the original did not grant:
  ///
  /// - Owner and group are set if the system permits it. If the owner differs from the original's,
  ///   the set-user-ID bit is cleared. If the group differs, the set-group-ID bit is cleared, and
  ///   group and others get only the rights that the original granted to both.
  /// - If the file system cannot store the original's ACL, group and others get only the rights
  ///   that every entry of the ACL, except the owner's, granted.
  /// - An ACL that the copy inherited from its directory is removed.
  ///
  /// If the file system cannot change permission bits or times, those of the copy stay.
  [[nodiscard]] int applyTo(int descriptor) const;

private:
  /// The attributes of the original that the copy now has, the ACL perhaps with fewer rights.
  struct Applied {
    bool owner;
    bool group;
    bool acl;
  };

  [[nodiscard]] int applyOwner(int descriptor, Applied& applied) const;
  [[nodiscard]] int applyAcl(int descriptor, Applied& applied) const;
  [[nodiscard]] int applyModeAndTime(int descriptor, const Applied& applied) const;

  /// The rights that the original granted to all users except its owner, as the lowest three
  /// permission bits.
  [[nodiscard]] mode_t sharedRights() const;

  struct stat status_ = {};
  std::vector<char> acl_; // as the kernel stores it; empty without an ACL
};

/// Returns whether the errno means that the file system cannot change an attribute. EPERM is
/// included, because some file systems report it even to the owner.
bool isUnsupported(int code);

} // namespace connector::posix
