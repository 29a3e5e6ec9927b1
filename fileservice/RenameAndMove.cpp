#include "Descriptions.h"
#include "Paths.h"
#include "PlatformValues.h"
#include "Posix.h"
#include "Refusals.h"

#include <connector/file/v1/FileServiceImpl.h>

#include <connector/common/v1/Fault.h>
#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>
#include <fl/i18n/directory_iterator.h>

#include <cerrno>
#include <optional>
#include <utility>

namespace connector::file::v1 {

using common::v1::FaultCondition;
using file_common::v1::isValidFileName;
using fl::filesystem::file_status;
using fl::filesystem::upath;
using fl::filesystem::detail::extract_filename;
using fl::filesystem::detail::extract_parent_path;
using fl::filesystem::detail::upath_directory_iterator_impl;

namespace {

/// Returns whether `move` leaves an entry of this name in the source directory.
bool isSkipped(const ustring& name) {
  return name.size() <= 1 || name.front() == u'.';
}

void moveLink(const upath& link, const upath& target) {
  copyLink(link, target);
  fl::filesystem::remove(link);
}

/// Returns whether the path is a dangling link with a valid name. `move` would refuse such a link
/// as missing.
bool isDanglingLink(const upath& path) {
  return !fl::filesystem::exists(path) && isValidFileName(path) && isLink(path);
}

/// Moves the entries of `source` to the directory `target` with the virtual operation. Stops at the
/// first entry that is refused and returns its Future; otherwise returns nullopt.
std::optional<Future<FileInfo>> moveEntries(FileService& service, const upath& source,
                                            upath_directory_iterator_impl& entries,
                                            const upath& target) {
  for (; entries.is_open(); entries.increment()) {
    const ustring& name = entries.entry().filename();
    if (isSkipped(name)) {
      continue;
    }
    const ustring& component = fl::filesystem::detail::make_native_form(name, true);
    const upath child = childOf(source, component);
    if (isDanglingLink(child)) {
      moveLink(child, childOf(target, component));
      continue;
    }
    Future<FileInfo> moved = service.move(child, target);
    moved.wait();
    if (moved.hasException()) {
      return moved;
    }
  }
  return std::nullopt;
}

/// Moves the directory `source` to the new directory `target` in `destination`. If an entry is
/// refused, returns its Future; the entries moved so far stay in `target`, which only its owner can
/// access. Otherwise returns nullopt.
std::optional<Future<FileInfo>> moveDirectory(FileService& service, const upath& source,
                                              const upath& destination, const upath& target) {
  std::optional<upath_directory_iterator_impl> entries(std::in_place, source, 0, false);
  if (isWithin(source, destination)) {
    // Otherwise `target` would be moved into itself again and again, until its path is too long.
    throw fl::filesystem::SystemError(EINVAL, target, {});
  }
  MovedDirectory moved(source, target);
  fl::filesystem::create_directory(target);
  moved.restrictTarget();
  if (auto failed = moveEntries(service, source, *entries, target)) {
    return failed;
  }
  entries.reset();
  moved.readRightsAgain();
  fl::filesystem::remove(source);
  moved.finishTarget();
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
    return failedFuture<FileInfo>(
        refusal(u"File: " + from + u": Error renaming file: '" + from + u"' to '" + to + u"'",
                FaultCondition::FILE_NOT_FOUND, {extract_filename(source)}));
  }
  if (!fl::filesystem::access(from, WRITE_ACCESS)) {
    return failedFuture<FileInfo>(
        refusal(from + u" cannot be written to.", FaultCondition::FILE_ACCESS_DENIED, {source}));
  }
  if (file_status::is_directory(destinationStatus)) {
    return failedFuture<FileInfo>(
        refusal(u"File: " + from + u": Error renaming directory: '" + from + u"' to '" + to + u"'",
                FaultCondition::FILE_EXISTS, {destination}));
  }
  if (file_status::exists(destinationStatus)) {
    // Clients rely on this text, including "detination".
    return failedFuture<FileInfo>(refusal(u"A File named: '" + extract_filename(destination) +
                                              u"' already exists at the detination location: '" +
                                              to + u"', unable to move file(s)",
                                          FaultCondition::FILE_EXISTS, {destination}));
  }

  const ustring parent = extract_parent_path(destination);
  if (!file_status::exists(fl::filesystem::status(parent))) {
    fl::filesystem::create_directories(parent);
  }
  fl::filesystem::rename(source, destination, PLAIN_RENAME);
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
    // Clients rely on this text, including the destination's path and the empty clause.
    return failedFuture<FileInfo>(refusal(u"File: " + to + u": , unable to move file(s)",
                                          FaultCondition::FILE_NOT_FOUND, {from}));
  }
  if (!file_status::exists(destinationStatus)) {
    return failedFuture<FileInfo>(
        refusal(u"File: " + to + u": directory invalid", FaultCondition::FILE_NOT_FOUND, {to}));
  }

  const ustring name = extract_filename(source);
  const upath target = name.empty() ? destination : childOf(destination, name);
  const file_status targetStatus = fl::filesystem::status(target);
  if (file_status::is_directory(targetStatus)) {
    return failedFuture<FileInfo>(refusal(u"File: " + to + u": , unable to move file(s)",
                                          FaultCondition::FILE_EXISTS, {extract_filename(target)}));
  }
  if (file_status::exists(targetStatus)) {
    return failedFuture<FileInfo>(refusal(u"A file named: '" + name +
                                              u"' already exists at the destination location: '" +
                                              to + u"', unable to move file(s)",
                                          FaultCondition::FILE_EXISTS, {extract_filename(target)}));
  }

  if (!file_status::is_regular(sourceStatus)) {
    // `source` may end with a separator, which would make the system follow the link.
    const upath link = childOf(upath(extract_parent_path(source)), name);
    if (isLink(link)) {
      moveLink(link, target);
      return readyFuture(makeFileInfo(target));
    }
  }
  if (!file_status::is_directory(sourceStatus)) {
    // Always a copy, never a rename, even within one file system.
    fl::filesystem::copy(source, target, PLAIN_COPY);
    fl::filesystem::remove(source);
    return readyFuture(makeFileInfo(target));
  }
  if (auto failed = moveDirectory(*this, source, destination, target)) {
    return std::move(*failed);
  }
  return readyFuture(makeFileInfo(target));
}

} // namespace connector::file::v1
