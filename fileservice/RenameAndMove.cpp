#include "Checks.h"

#include <connector/file/v1/FileServiceImpl.h>

#include <connector/common/v1/Fault.h>
#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>
#include <fl/i18n/directory_iterator.h>

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace connector::file::v1 {

using common::v1::FaultCondition;
using file_common::v1::isValidFileName;
using fl::filesystem::file_status;
using fl::filesystem::upath;
using fl::filesystem::detail::extract_filename;
using fl::filesystem::detail::extract_parent_path;
using fl::filesystem::detail::throw_errno;
using fl::filesystem::detail::upath_directory_iterator_impl;

namespace {

/// A folder that is held open, so that going up from it does not cost a walk down a whole path.
class OpenFolder {
public:
  explicit OpenFolder(const upath& path)
      : path_(path)
      , descriptor_(
            open(AT_FDCWD, fl::filesystem::detail::make_native_access_form_i18n(path).c_str())) {
    if (descriptor_ < 0) {
      throw_errno(errno, path_);
    }
  }

  OpenFolder(const OpenFolder&) = delete;
  OpenFolder& operator=(const OpenFolder&) = delete;

  ~OpenFolder() { ::close(descriptor_); }

  /// False when it may not be searched, and so not be left upwards either.
  [[nodiscard]] bool goUp() {
    const int parent = open(descriptor_, "..");
    if (parent < 0 && errno == EACCES) {
      return false;
    }
    if (parent < 0) {
      throw_errno(errno, path_);
    }
    ::close(std::exchange(descriptor_, parent));
    return true;
  }

  [[nodiscard]] std::pair<dev_t, ino_t> identity() const {
    struct stat found = {};
    if (::fstat(descriptor_, &found) != 0) {
      throw_errno(errno, path_);
    }
    return {found.st_dev, found.st_ino};
  }

private:
  static int open(int base, const char* name) {
    return ::openat(base, name, O_PATH | O_DIRECTORY | O_CLOEXEC);
  }

  const upath& path_;
  int descriptor_;
};

/// Whether `inner` is the folder `outer` or lies beneath it, whatever links lead to either. Goes up
/// folder by folder, since whole paths would make the move of a deep folder take minutes.
bool isWithin(const upath& outer, const upath& inner) {
  const auto top = OpenFolder(outer).identity();
  OpenFolder folder(inner);
  auto here = folder.identity();
  while (here != top) {
    // Where nothing leads up, no walk through `outer` comes down either.
    if (!folder.goUp()) {
      return false;
    }
    const auto above = folder.identity();
    if (above == here) { // the root, which is its own parent
      return false;
    }
    here = above;
  }
  return true;
}

/// Entries that a folder move leaves behind: hidden ones, and those with a name of one character.
bool staysBehind(const ustring& name) {
  return name.size() <= 1 || name.front() == u'.';
}

/// Makes the target, in the destination, and moves the entries of the source into it, through the
/// virtual operation. The failure of the first entry that fails, as it is; nothing when all were
/// moved.
std::optional<Future<FileInfo>> moveEntries(FileService& service, const upath& source,
                                            const upath& destination, const upath& target) {
  upath_directory_iterator_impl entries(source, 0, false);
  if (isWithin(source, destination)) {
    // The platform's own answer to a folder in itself; otherwise the walk would follow its own
    // target downwards until the path is too long.
    throw_errno(EINVAL, target);
  }
  fl::filesystem::create_directory(target);
  for (; entries.is_open(); entries.increment()) {
    const ustring& name = entries.entry().filename();
    if (staysBehind(name)) {
      continue;
    }
    const upath child = childOf(source, fl::filesystem::detail::make_native_form(name, true));
    Future<FileInfo> moved = service.move(child, target);
    moved.wait();
    if (moved.hasException()) {
      return moved;
    }
  }
  return std::nullopt;
}

} // namespace

Future<FileInfo> FileServiceImpl::rename(const ustring& from, const ustring& to) {
  const upath source = toAbsolutePath(from);
  const upath destination = toAbsolutePath(to);
  const file_status sourceStatus = fl::filesystem::status(source);
  const file_status destinationStatus = fl::filesystem::status(destination);

  if (!isValidFileName(from)) {
    return failedFuture<FileInfo>(invalidNameError(from, source));
  }
  if (!isValidFileName(to)) {
    return failedFuture<FileInfo>(invalidNameError(to, destination));
  }
  if (!file_status::exists(sourceStatus)) {
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR,
                                  u"File: " + from + u": Error renaming file: '" + from +
                                      u"' to '" + to + u"'",
                                  FaultCondition::FILE_NOT_FOUND, {extract_filename(source)});
  }
  if (!fl::filesystem::access(from, fl::filesystem::access_write)) {
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR, from + u" cannot be written to.",
                                  FaultCondition::FILE_ACCESS_DENIED, {source});
  }
  if (file_status::is_directory(destinationStatus)) {
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR,
                                  u"File: " + from + u": Error renaming directory: '" + from +
                                      u"' to '" + to + u"'",
                                  FaultCondition::FILE_EXISTS, {destination});
  }
  if (file_status::exists(destinationStatus)) {
    // "detination" is what clients know and match.
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR,
                                  u"A File named: '" + extract_filename(destination) +
                                      u"' already exists at the detination location: '" + to +
                                      u"', unable to move file(s)",
                                  FaultCondition::FILE_EXISTS, {destination});
  }

  const ustring parent = extract_parent_path(destination);
  if (!file_status::exists(fl::filesystem::status(parent))) {
    fl::filesystem::create_directories(parent);
  }
  fl::filesystem::rename(source, destination, fl::filesystem::rename_options::none);
  return readyFuture(makeFileInfo(destination));
}

Future<FileInfo> FileServiceImpl::move(const ustring& from, const ustring& to) {
  const upath source = toAbsolutePath(from);
  const upath destination = toAbsolutePath(to);
  const file_status sourceStatus = fl::filesystem::status(source);
  const file_status destinationStatus = fl::filesystem::status(destination);

  if (!isValidFileName(from)) {
    return failedFuture<FileInfo>(invalidNameError(from, source));
  }
  if (!isValidFileName(to)) {
    return failedFuture<FileInfo>(invalidNameError(to, destination));
  }
  if (!file_status::exists(sourceStatus)) {
    // Names the destination and leaves its clause empty; clients know it so.
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR,
                                  u"File: " + to + u": , unable to move file(s)",
                                  FaultCondition::FILE_NOT_FOUND, {from});
  }
  if (!file_status::exists(destinationStatus)) {
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR,
                                  u"File: " + to + u": directory invalid",
                                  FaultCondition::FILE_NOT_FOUND, {to});
  }

  const ustring name = extract_filename(source);
  const upath target = name.empty() ? destination : childOf(destination, name);
  const file_status targetStatus = fl::filesystem::status(target);
  if (file_status::is_directory(targetStatus)) {
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR,
                                  u"File: " + to + u": , unable to move file(s)",
                                  FaultCondition::FILE_EXISTS, {extract_filename(target)});
  }
  if (file_status::exists(targetStatus)) {
    return failedFuture<FileInfo>(FileServiceException::IO_ERROR,
                                  u"A file named: '" + name +
                                      u"' already exists at the destination location: '" + to +
                                      u"', unable to move file(s)",
                                  FaultCondition::FILE_EXISTS, {extract_filename(target)});
  }

  if (!file_status::is_directory(sourceStatus)) {
    // Never a platform rename, also on one volume: the new file is a copy.
    fl::filesystem::copy(source, target, fl::filesystem::copy_option::fail_if_exists);
    fl::filesystem::remove(source);
    return readyFuture(makeFileInfo(target));
  }

  if (auto failed = moveEntries(*this, source, destination, target)) {
    return std::move(*failed);
  }
  fl::filesystem::remove(source);
  return readyFuture(makeFileInfo(target));
}

} // namespace connector::file::v1
