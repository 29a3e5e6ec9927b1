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
#include <posix/Identity.h>
#include <sys/xattr.h>
#include <tuple>
#include <type_traits>
#include <unistd.h>

namespace connector::posix {

namespace {

constexpr auto ACCESS_ACL = "system.posix_acl_access";
constexpr mode_t ALL_BITS = 07777;
constexpr unsigned GROUP_SHIFT = 3;

/// Calls `visit` with the tag and the rights of each entry. `visit` may change the rights of a
/// non-const ACL.
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

/// Returns the size in bytes of the ACL's extended attribute. Returns 0 if the file has no ACL or
/// its file system does not support ACLs, and -1 with errno set if the call fails otherwise.
ssize_t sizeOfAcl(int descriptor) {
  const ssize_t size = ::fgetxattr(descriptor, ACCESS_ACL, nullptr, 0);
  return size < 0 && (errno == ENODATA || errno == EOPNOTSUPP) ? 0 : size;
}

/// Sets owner and group. If that fails, tries to set only the group.
void changeOwner(int descriptor, uid_t owner, gid_t group) {
  constexpr auto unchanged = static_cast<uid_t>(-1);
  if (::fchown(descriptor, owner, group) != 0) {
    std::ignore = ::fchown(descriptor, unchanged, group);
  }
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
    return EBUSY; // the ACL has just been changed
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

int Attributes::readRightsAgain(int descriptor) {
  const struct stat before = status_;
  const int code = readFrom(descriptor);
  const bool isSame = isSameFile(status_, before);
  status_.st_mtim = before.st_mtim;
  return code == 0 && !isSame ? EBUSY : code;
}

int Attributes::applyTo(int descriptor) const {
  Applied applied{};
  int code = applyOwner(descriptor, applied);
  if (code == 0) {
    code = applyAcl(descriptor, applied);
  }
  return code == 0 ? applyModeAndTime(descriptor, applied) : code;
}

int Attributes::applyOwner(int descriptor, Applied& applied) const {
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
  applied.owner = copy.st_uid == status_.st_uid;
  applied.group = copy.st_gid == status_.st_gid;
  return 0;
}

int Attributes::applyAcl(int descriptor, Applied& applied) const {
  auto acl = acl_;
  if (!applied.group) {
    forEachEntry(acl, [shared = sharedRights()](std::uint16_t tag, std::uint16_t& rights) {
      if (tag == ACL_GROUP_OBJ || tag == ACL_OTHER) {
        rights = static_cast<std::uint16_t>(shared);
      }
    });
  }
  applied.acl = !acl.empty() && ::fsetxattr(descriptor, ACCESS_ACL, acl.data(), acl.size(), 0) == 0;
  const bool mayHaveInherited = !applied.acl && sizeOfAcl(descriptor) != 0;
  return mayHaveInherited && ::fremovexattr(descriptor, ACCESS_ACL) != 0 ? errno : 0;
}

int Attributes::applyModeAndTime(int descriptor, const Applied& applied) const {
  const mode_t shared = sharedRights();
  mode_t mode = status_.st_mode & ALL_BITS;
  if (!applied.owner) {
    mode &= ~mode_t{S_ISUID};
  }
  if (!applied.group) {
    mode = (mode & ~mode_t{S_ISGID | S_IRWXO}) | shared;
  }
  const bool isAclLost = !acl_.empty() && !applied.acl;
  if (isAclLost || (!applied.group && !applied.acl)) {
    mode = (mode & ~mode_t{S_IRWXG | S_IRWXO}) | shared << GROUP_SHIFT | shared;
  }
  if (::fchmod(descriptor, mode) != 0 && !isUnsupported(errno)) {
    return errno;
  }
  const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, status_.st_mtim};
  return ::futimens(descriptor, times.data()) != 0 && !isUnsupported(errno) ? errno : 0;
}

bool isUnsupported(int code) {
  return code == EPERM || code == EOPNOTSUPP || code == ENOSYS;
}

} // namespace connector::posix
