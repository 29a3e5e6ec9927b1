#pragma once

// What the operations share: how a path becomes absolute, how a file is described, and how a result
// or a refusal is put into a Future.

#include <connector/file/v1/FileService.h>
#include <connector/file/v1/FileServiceException.h>

#include <fl/filesystem/operations.h>
#include <fl/filesystem/upath.h>

#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace connector::file::v1 {

/// Relative to the process's current folder.
fl::filesystem::upath toAbsolutePath(const ustring& path);

/// `name` as a further component of `folder`.
fl::filesystem::upath childOf(const fl::filesystem::upath& folder, const ustring& name);

/// About the file name of `absolutePath`.
FileServiceException invalidNameError(const ustring& absolutePath);

/// The same with another form of the path in the message.
FileServiceException invalidNameError(const ustring& shownPath, const ustring& absolutePath);

struct WritableCheck {
  std::vector<ustring> paths;
  std::string condition;
  ustring message;
  bool ok = false;
};

/// Whether an entry can be made in the parent folder of the path.
WritableCheck checkParentWritable(const ustring& absolutePath);

/// A fresh description of what is at the path, which may be nothing.
FileInfo makeFileInfo(fl::filesystem::upath path);

/// The same from a status that was just taken.
FileInfo makeFileInfo(fl::filesystem::upath path, const fl::filesystem::file_status& st);

template <typename T>
Future<T> readyFuture(T&& value) {
  return makeReadyFuture<T>(std::forward<T>(value));
}

template <typename T>
Future<T> failedFuture(const FileServiceException& refusal) {
  return makeFailedFuture<T>(std::make_exception_ptr(refusal));
}

template <typename T>
Future<T> failedFuture(const std::string& id, ustring message, const std::string& condition,
                       std::vector<ustring> paths) {
  return failedFuture<T>(FileServiceException(id, std::move(message), condition, std::move(paths)));
}

template <typename T>
Future<T> failedFuture(WritableCheck&& refused) {
  return failedFuture<T>(FileServiceException::IO_ERROR, std::move(refused.message),
                         refused.condition, std::move(refused.paths));
}

} // namespace connector::file::v1
