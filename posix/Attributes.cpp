#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <endian.h>
#include <fcntl.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <posix/Attributes.h>
#include <sys/xattr.h>
#include <tuple>
#include <type_traits>
#include <unistd.h>

namespace connector::posix {

namespace {

constexpr auto ACCESS_ACL = "system.posix_acl_access";
constexpr mode_t ALL_BITS = 07777;
constexpr unsigned GROUP_SHIFT = 3;

/// Calls `visit` with the tag and the rights of each entry; the rights may be changed.
template <typename Acl, typename Visit>
void forEachEntry(Acl& acl, const Visit& visit) {
  posix_acl_xattr_entry entry{};
  for (auto at = sizeof(posix_acl_xattr_header); at + sizeof entry <= acl.size();
       at += sizeof entry) {
    std::memcpy(&entry, &acl[at], sizeof entry);
    std::uint16_t rights = le16toh(entry.e_perm);
    visit(le16toh(entry.e_tag), rights);
    if constexpr (!std::is_const_v<Acl>) {
      entry.e_perm = htole16(rights);
      std::memcpy(&acl[at], &entry, sizeof entry);
    }
  }
}

/// The size of the ACL as the kernel stores it; 0 if the file, or its file system, has none. -1 for
/// any other failure, with errno set.
ssize_t sizeOfAcl(int descriptor) {
  const ssize_t size = ::fgetxattr(descriptor, ACCESS_ACL, nullptr, 0);
  return size < 0 && (errno == ENODATA || errno == EOPNOTSUPP) ? 0 : size;
}

/// Sets the owner and the group, or only the group, or neither, as the system permits.
void changeOwner(int descriptor, uid_t owner, gid_t group) {
  constexpr auto unchanged = static_cast<uid_t>(-1);
  if (::fchown(descriptor, owner, group) != 0) {
    std::ignore = ::fchown(descriptor, unchanged, group);
  }
}

/// False also when the file system has no such attribute: the copy then stays as private as it is.
bool hasFailed(int result) {
  return result != 0 && errno != EPERM && errno != EOPNOTSUPP;
}

} // namespace

int Attributes::readFrom(int descriptor) {
  acl_.clear();
  if (::fstat(descriptor, &status_) != 0) {
    return errno;
  }
  const ssize_t size = sizeOfAcl(descriptor);
  if (size <= 0) {
    return size == 0 ? 0 : errno;
  }
  acl_.resize(static_cast<std::size_t>(size));
  if (::fgetxattr(descriptor, ACCESS_ACL, acl_.data(), acl_.size()) != size) {
    return EBUSY; // the ACL changes at this moment
  }
  return 0;
}

mode_t Attributes::sharedRights() const {
  mode_t shared = status_.st_mode & (status_.st_mode >> GROUP_SHIFT) & S_IRWXO;
  forEachEntry(acl_, [&shared](std::uint16_t tag, std::uint16_t rights) {
    shared &= tag == ACL_USER_OBJ ? S_IRWXO : rights;
  });
  return shared;
}

int Attributes::giveTo(int descriptor) const {
  struct stat copy = {};
  if (::fstat(descriptor, &copy) != 0) {
    return errno;
  }
  if (copy.st_uid != status_.st_uid || copy.st_gid != status_.st_gid) {
    changeOwner(descriptor, status_.st_uid, status_.st_gid);
    if (::fstat(descriptor, &copy) != 0) {
      return errno;
    }
  }
  const bool hasOwner = copy.st_uid == status_.st_uid;
  const bool hasGroup = copy.st_gid == status_.st_gid;
  const mode_t shared = sharedRights();

  auto acl = acl_;
  if (!hasGroup) {
    forEachEntry(acl, [shared](std::uint16_t tag, std::uint16_t& rights) {
      if (tag == ACL_GROUP_OBJ || tag == ACL_OTHER) {
        rights = static_cast<std::uint16_t>(shared);
      }
    });
  }
  const bool hasAcl =
      !acl.empty() && ::fsetxattr(descriptor, ACCESS_ACL, acl.data(), acl.size(), 0) == 0;
  if (!hasAcl && sizeOfAcl(descriptor) != 0 && ::fremovexattr(descriptor, ACCESS_ACL) != 0) {
    return errno;
  }

  mode_t mode = status_.st_mode & ALL_BITS;
  mode &= hasOwner ? ALL_BITS : ~mode_t{S_ISUID};
  if (!hasGroup) {
    mode = (mode & ~mode_t{S_ISGID | S_IRWXO}) | shared;
  }
  if (!hasAcl && (!hasGroup || !acl.empty())) {
    mode = (mode & ~mode_t{S_IRWXG | S_IRWXO}) | shared << GROUP_SHIFT | shared;
  }
  const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, status_.st_mtim};
  if (hasFailed(::fchmod(descriptor, mode)) || hasFailed(::futimens(descriptor, times.data()))) {
    return errno;
  }
  return 0;
}

} // namespace connector::posix
