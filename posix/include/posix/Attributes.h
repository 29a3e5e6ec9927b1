#pragma once

#include <sys/stat.h>
#include <vector>

namespace connector::posix {

/// The attributes that a file or directory keeps when it is moved by copying: permission bits,
/// POSIX access ACL, owner, group, and modification time.
///
/// Each function takes an open descriptor and returns 0, or the errno of the call that failed.
class Attributes {
public:
  /// Reads the attributes of a file or directory.
  [[nodiscard]] int readFrom(int descriptor);

  /// Reads all but the time again, since rights may have been taken away meanwhile. EBUSY if the
  /// descriptor is of another file.
  [[nodiscard]] int readRightsAgain(int descriptor);

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
  /// On a file system that does not support the change of permission bits or times the copy keeps
  /// those that it has.
  [[nodiscard]] int applyTo(int descriptor) const;

private:
  struct Kept {
    bool owner;
    bool group;
    bool acl;
  };

  [[nodiscard]] int applyOwner(int descriptor, Kept& kept) const;
  [[nodiscard]] int applyAcl(int descriptor, Kept& kept) const;
  [[nodiscard]] int applyMode(int descriptor, const Kept& kept) const;

  /// The rights that the original granted to every user other than its owner, as the lowest three
  /// permission bits.
  [[nodiscard]] mode_t sharedRights() const;

  struct stat status_ = {};
  std::vector<char> acl_; // as the kernel stores it; empty without an ACL
};

/// True if the errno means that the file system does not support changing an attribute. EPERM is
/// included: some file systems answer so even to the owner.
bool isUnsupported(int code);

} // namespace connector::posix
