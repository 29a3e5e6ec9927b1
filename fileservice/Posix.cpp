#include "Posix.h"

#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/path.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <posix/Descriptor.h>
#include <posix/Directory.h>
#include <posix/Identity.h>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace connector::file::v1 {

using fl::filesystem::upath;
using posix::Descriptor;

namespace {

/// Throws the platform's exception for denied access or an existing path, otherwise SystemError.
[[noreturn]] void fail(int code, const upath& path) {
  switch (code) {
  case EACCES:
  case EPERM:
  case EROFS:
    throw fl::filesystem::AccessDenied(code, path);
  case EEXIST:
    throw fl::filesystem::FileExistsError(code, path);
  default:
    throw fl::filesystem::SystemError(code, path, {});
  }
}

void requireZero(int code, const upath& path) {
  if (code != 0) {
    fail(code, path);
  }
}

/// Throws the exception for errno unless the system call succeeded.
void require(bool succeeded, const upath& path) {
  requireZero(succeeded ? 0 : errno, path);
}

std::string nativeForm(const upath& path) {
  return fl::filesystem::detail::make_native_access_form_i18n(path);
}

struct stat statusOf(const Descriptor& opened, const upath& path) {
  struct stat found = {};
  require(::fstat(opened.get(), &found) == 0, path);
  return found;
}

/// Opens a directory for fstat and "..". Needs no permission to read it.
Descriptor openForStat(int base, const char* name) {
  return Descriptor(::openat(base, name, O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// Opens without O_PATH, so that the kernel's confinement checks the path. Does not follow a link.
Descriptor openDirectory(const upath& path) {
  Descriptor opened(posix::uninterrupted([name = nativeForm(path)] {
    return ::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  }));
  require(opened.isOpen(), path);
  return opened;
}

bool isEmpty(const Descriptor& directory, const upath& path) {
  Descriptor reopened(posix::uninterrupted(
      [&] { return ::openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  const auto stream = posix::toDirectoryStream(reopened);
  require(stream != nullptr, path);
  const bool empty = posix::nextEntry(stream.get()) == nullptr;
  requireZero(empty ? errno : 0, path);
  return empty;
}

std::filesystem::path textOfLink(const upath& link) {
  std::error_code error;
  auto text = std::filesystem::read_symlink(nativeForm(link), error);
  requireZero(error.value(), link);
  return text;
}

} // namespace

// Goes up from `inner`, one directory at a time. `move` calls this function for every directory of
// a tree. Comparing two canonical paths takes twenty times as long for a path of 2,000 components,
// and fails below a directory without search permission.
bool isWithin(const upath& outer, const upath& inner) {
  Descriptor directory = openForStat(AT_FDCWD, nativeForm(inner).c_str());
  if (!directory.isOpen() && errno == ENOTDIR) {
    return false;
  }
  require(directory.isOpen(), inner);
  const Descriptor top = openForStat(AT_FDCWD, nativeForm(outer).c_str());
  require(top.isOpen(), outer);
  const auto topStatus = statusOf(top, outer);
  auto status = statusOf(directory, inner);
  while (!posix::isSameFile(status, topStatus)) {
    Descriptor parent = openForStat(directory.get(), "..");
    if (!parent.isOpen() && errno == EACCES) {
      return false; // without search permission, `inner` cannot be reached from `outer` either
    }
    require(parent.isOpen(), inner);
    const auto parentStatus = statusOf(parent, inner);
    if (posix::isSameFile(parentStatus, status)) {
      return false; // the root is its own parent
    }
    status = parentStatus;
    directory = std::move(parent);
  }
  return true;
}

bool isLink(const upath& path) {
  std::error_code error;
  return std::filesystem::is_symlink(std::filesystem::symlink_status(nativeForm(path), error));
}

void copyLink(const upath& source, const upath& target) {
  const auto text = textOfLink(source);
  std::error_code error;
  std::filesystem::create_symlink(text, nativeForm(target), error);
  requireZero(error.value(), target);
  if (!isLink(source) || textOfLink(source) != text) {
    std::filesystem::remove(nativeForm(target), error);
    fail(EBUSY, source);
  }
}

MovedDirectory::MovedDirectory(const upath& source, const upath& target)
    : source_(source)
    , target_(target) {
  requireZero(attributes_.readFrom(openDirectory(source).get()), source);
}

void MovedDirectory::restrictTarget() {
  const Descriptor opened = openDirectory(target_);
  targetStatus_ = statusOf(opened, target_);
  if (!isEmpty(opened, target_)) {
    fail(EBUSY, target_);
  }
  if (::fchmod(opened.get(), S_IRWXU) != 0) {
    const bool isOwn = targetStatus_.st_uid == ::geteuid();
    require(isOwn && posix::isUnsupported(errno), target_);
  }
  if (::fremovexattr(opened.get(), "system.posix_acl_default") != 0 && errno != ENODATA) {
    require(posix::isUnsupported(errno), target_);
  }
}

void MovedDirectory::readRightsAgain() {
  requireZero(attributes_.readRightsAgain(openDirectory(source_).get()), source_);
}

void MovedDirectory::finishTarget() const {
  const Descriptor opened = openDirectory(target_);
  if (!posix::isSameFile(statusOf(opened, target_), targetStatus_)) {
    fail(EBUSY, target_);
  }
  requireZero(attributes_.applyTo(opened.get()), target_);
}

} // namespace connector::file::v1
