#include "Descriptions.h"
#include "Paths.h"
#include "PlatformValues.h"
#include "Refusals.h"

#include <connector/file/v1/FileServiceImpl.h>

#include <connector/common/v1/Fault.h>
#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/fstream.h>
#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>

#include <cerrno>
#include <ios>

namespace connector::file::v1 {

using common::v1::FaultCondition;
using file_common::v1::isValidFileName;
using fl::filesystem::file_status;
using fl::filesystem::upath;
using fl::filesystem::detail::extract_filename;
using fl::filesystem::detail::extract_parent_path;

namespace {

/// Creates or empties the file, and writes the bytes in one write. If the write fails, the bytes
/// written so far stay.
void writeContents(const upath& path, const DataBuffer& contents, std::ios_base::openmode mode) {
  const auto name = fl::filesystem::detail::make_native_access_form_i18n(path);
  fl::filesystem::ofstream file(name, mode, SHARE_READ_WRITE);
  if (!file.is_open()) {
    throw fl::filesystem::SystemError(errno, path, {});
  }
  file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  if (!file) {
    throw fl::filesystem::SystemError(errno, path, {});
  }
  file.close(); // a failure is ignored: the stream writes through, so every byte is written
}

} // namespace

Future<FileInfo> FileServiceImpl::create(File&& file, bool overwrite) {
  const upath abs = toAbsolutePath(file.getFileInfo().getLocation());
  const file_status st = fl::filesystem::status(abs);
  const bool existed = file_status::exists(st);
  const bool isDirectory = file.getFileInfo().isDirectory();
  // Called for its exceptions: paths that the platform rejects must fail before any check.
  static_cast<void>(makeFileInfo(abs));

  if (!isValidFileName(abs)) {
    return failedFuture<FileInfo>(invalidNameError(abs));
  }

  const upath parent = toAbsolutePath(extract_parent_path(abs));
  if (!file_status::exists(fl::filesystem::status(parent))) {
    if (toAbsolutePath(extract_parent_path(parent)).string() == parent.string()) {
      return failedFuture<FileInfo>(
          refusal(abs.string() + u" cannot be created.", FaultCondition::FILE_IO_GENERIC, {abs}));
    }
    // Virtual and recursive: each call creates one directory, after the directories above it.
    Future<FileInfo> made = create(File(FileInfo(parent, true)), false);
    made.wait();
    if (made.hasException()) {
      return made;
    }
  }

  if (!existed && isDirectory) {
    fl::filesystem::create_directories(abs);
    return readyFuture(makeFileInfo(abs));
  }
  if (existed && !overwrite) {
    return failedFuture<FileInfo>(
        refusal(abs.string() + u" already exists", FaultCondition::FILE_EXISTS, {abs}));
  }
  if (existed && (isDirectory || !file_status::is_regular(st))) {
    return failedFuture<FileInfo>(refusal(
        abs.string() + u" already exists and is a directory. Directory cannot be overwritten.",
        FaultCondition::FILE_EXISTS, {abs}));
  }
  if (existed && !fl::filesystem::access(abs, WRITE_ACCESS)) {
    return failedFuture<FileInfo>(refusal(abs.string() + u" cannot be written to.",
                                          FaultCondition::FILE_ACCESS_DENIED, {abs}));
  }

  if (WritableCheck wc = checkParentWritable(abs); !wc.ok) {
    return failedFuture<FileInfo>(std::move(wc));
  }
  writeContents(abs, file.getContents(),
                std::ios_base::out | std::ios_base::trunc | std::ios_base::binary);
  return readyFuture(makeFileInfo(abs));
}

Future<FileInfo> FileServiceImpl::update(File&& file) {
  const upath abs = toAbsolutePath(file.getFileInfo().getLocation());
  const file_status st = fl::filesystem::status(abs);
  static_cast<void>(makeFileInfo(abs)); // as in create

  if (!isValidFileName(abs)) {
    return failedFuture<FileInfo>(invalidNameError(abs));
  }
  if (!fl::filesystem::exists(abs)) {
    return failedFuture<FileInfo>(
        refusal(u"Cannot update a file which does not exist: " + abs.string(),
                FaultCondition::FILE_NOT_FOUND, {abs}));
  }
  // Permission is checked before kind: a read-only directory is refused as not writable.
  if (!fl::filesystem::access(abs, WRITE_ACCESS)) {
    return failedFuture<FileInfo>(refusal(u"File " + abs.string() + u" cannot be written to",
                                          FaultCondition::FILE_ACCESS_DENIED, {abs}));
  }
  if (file_status::is_directory(st)) {
    return failedFuture<FileInfo>(
        refusal(abs.string() + u" exists but is a directory. Input must be a file.",
                FaultCondition::FILE_IO_GENERIC, {extract_filename(abs)}));
  }

  // Text mode, unlike in create: a platform may convert the line ends.
  writeContents(abs, file.getContents(), std::ios_base::out | std::ios_base::trunc);
  return readyFuture(makeFileInfo(abs));
}

Future<FileInfo> FileServiceImpl::close(File&& file) {
  return update(std::move(file));
}

Future<FileInfo> FileServiceImpl::close(const ustring& path) {
  return readyFuture(makeFileInfo(toAbsolutePath(path)));
}

} // namespace connector::file::v1
