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

/// Two causes have exceptions of their own, so that links are refused as files are.
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

/// Opens a directory only as a base for fstat and "..": this needs no right to read it.
Descriptor openForStat(int base, const char* name) {
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

bool isEmpty(const Descriptor& directory, const upath& path) {
  Descriptor again(posix::uninterrupted(
      [&] { return ::openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  const auto stream = posix::toDirectoryStream(again);
  require(stream != nullptr ? 0 : errno, path);
  const bool empty = posix::nextEntry(stream.get()) == nullptr;
  require(empty ? errno : 0, path);
  return empty;
}

std::filesystem::path textOfLink(const upath& link) {
  std::error_code error;
  auto text = std::filesystem::read_symlink(nativeForm(link), error);
  require(error.value(), link);
  return text;
}

} // namespace

// Goes up from `inner`, one directory at a time. To compare two canonical paths instead would take
// twenty times as long for a path of 2,000 components, and this is called once for each directory
// of a moved tree. It would also fail below a directory that may not be searched.
bool isWithin(const upath& outer, const upath& inner) {
  Descriptor directory = openForStat(AT_FDCWD, nativeForm(inner).c_str());
  if (!directory.isOpen() && errno == ENOTDIR) {
    return false;
  }
  require(directory.isOpen() ? 0 : errno, inner);
  const Descriptor top = openForStat(AT_FDCWD, nativeForm(outer).c_str());
  require(top.isOpen() ? 0 : errno, outer);
  const auto end = statusOf(top, outer);
  auto here = statusOf(directory, inner);
  while (!posix::isSameFile(here, end)) {
    Descriptor parent = openForStat(directory.get(), "..");
    if (!parent.isOpen() && errno == EACCES) {
      return false; // an unsearchable directory cannot be entered from above either
    }
    require(parent.isOpen() ? 0 : errno, inner);
    const auto above = statusOf(parent, inner);
    if (posix::isSameFile(above, here)) {
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
  const auto text = textOfLink(source);
  std::error_code error;
  std::filesystem::create_symlink(text, nativeForm(target), error);
  require(error.value(), target);
  if (!isLink(source) || textOfLink(source) != text) {
    std::filesystem::remove(nativeForm(target), error);
    fail(EBUSY, source);
  }
}

MovedDirectory::MovedDirectory(const upath& source, const upath& target)
    : source_(source)
    , target_(target) {
  require(attributes_.readFrom(openDirectory(source).get()), source);
}

void MovedDirectory::restrictTarget() {
  const Descriptor opened = openDirectory(target_);
  restricted_ = statusOf(opened, target_);
  require(isEmpty(opened, target_) ? 0 : EBUSY, target_);
  if (::fchmod(opened.get(), S_IRWXU) != 0) {
    const bool isOwn = restricted_.st_uid == ::geteuid();
    require(isOwn && posix::isUnsupported(errno) ? 0 : errno, target_);
  }
  if (::fremovexattr(opened.get(), "system.posix_acl_default") != 0 && errno != ENODATA) {
    require(posix::isUnsupported(errno) ? 0 : errno, target_);
  }
}

void MovedDirectory::readRightsAgain() {
  require(attributes_.readRightsAgain(openDirectory(source_).get()), source_);
}

void MovedDirectory::finishTarget() const {
  const Descriptor opened = openDirectory(target_);
  require(posix::isSameFile(statusOf(opened, target_), restricted_) ? 0 : EBUSY, target_);
  require(attributes_.applyTo(opened.get()), target_);
}

} // namespace connector::file::v1
