#include "Posix.h"

#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/path.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <posix/Descriptor.h>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <system_error>
#include <utility>

namespace connector::file::v1 {

using fl::filesystem::upath;
using posix::Descriptor;

namespace {

[[noreturn]] void fail(int code, const upath& path) {
  throw fl::filesystem::SystemError(code, path, {});
}

void require(int code, const upath& path) {
  if (code != 0) {
    fail(code, path);
  }
}

std::string nativeForm(const upath& path) {
  return fl::filesystem::detail::make_native_access_form_i18n(path);
}

struct stat statusOf(const Descriptor& opened, const upath& path) {
  struct stat found = {};
  require(::fstat(opened.get(), &found) == 0 ? 0 : errno, path);
  return found;
}

bool isSame(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

/// For fstat and for going up only.
Descriptor openToLook(int base, const char* name) {
  return Descriptor(::openat(base, name, O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// The kernel's confinement checks this way of opening; it does not follow a link.
Descriptor openDirectory(const upath& path) {
  Descriptor opened(posix::uninterrupted([name = nativeForm(path)] {
    return ::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  }));
  require(opened.isOpen() ? 0 : errno, path);
  return opened;
}

} // namespace

// Goes up from `inner`, one directory at a time. To compare two canonical paths instead would take
// twenty times as long for a path of 2,000 components, and this is called once for each directory
// of a moved tree. It would also fail below a directory that may not be searched.
bool isWithin(const upath& outer, const upath& inner) {
  Descriptor directory = openToLook(AT_FDCWD, nativeForm(inner).c_str());
  if (!directory.isOpen() && errno == ENOTDIR) {
    return false;
  }
  require(directory.isOpen() ? 0 : errno, inner);
  const Descriptor top = openToLook(AT_FDCWD, nativeForm(outer).c_str());
  require(top.isOpen() ? 0 : errno, outer);
  const auto end = statusOf(top, outer);
  auto here = statusOf(directory, inner);
  while (!isSame(here, end)) {
    Descriptor parent = openToLook(directory.get(), "..");
    if (!parent.isOpen() && errno == EACCES) {
      return false; // A directory that may not be searched cannot be entered from above either.
    }
    require(parent.isOpen() ? 0 : errno, inner);
    const auto above = statusOf(parent, inner);
    if (isSame(above, here)) {
      return false; // the root, which is its own parent
    }
    here = above;
    directory = std::move(parent);
  }
  return true;
}

bool isLink(const upath& path) {
  std::error_code error;
  return std::filesystem::is_symlink(std::filesystem::symlink_status(nativeForm(path), error));
}

void copyLink(const upath& source, const upath& target) {
  std::error_code error;
  const auto text = std::filesystem::read_symlink(nativeForm(source), error);
  require(error.value(), source);
  std::filesystem::create_symlink(text, nativeForm(target), error);
  require(error.value(), target);
}

DirectoryAttributes::DirectoryAttributes(const upath& source) {
  require(attributes_.readFrom(openDirectory(source).get()), source);
}

void DirectoryAttributes::restrict(const upath& target) {
  const Descriptor opened = openDirectory(target);
  const auto found = statusOf(opened, target);
  device_ = found.st_dev;
  inode_ = found.st_ino;
  // A file system without permission bits or ACLs refuses to change them.
  const auto isError = [](int result, int harmless) {
    return result != 0 && errno != harmless && errno != EOPNOTSUPP;
  };
  if (isError(::fchmod(opened.get(), S_IRWXU), EPERM) ||
      isError(::fremovexattr(opened.get(), "system.posix_acl_default"), ENODATA)) {
    fail(errno, target);
  }
}

void DirectoryAttributes::giveTo(const upath& target) const {
  const Descriptor opened = openDirectory(target);
  const auto found = statusOf(opened, target);
  require(found.st_dev == device_ && found.st_ino == inode_ ? 0 : EBUSY, target);
  require(attributes_.giveTo(opened.get()), target);
}

} // namespace connector::file::v1
