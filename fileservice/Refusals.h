#pragma once

// The refusals that several operations share, and Futures that hold a result or a refusal.

#include <connector/file/v1/FileService.h>
#include <connector/file/v1/FileServiceException.h>

#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace connector::file::v1 {

/// Returns a refusal with the id IO_ERROR.
FileServiceException refusal(ustring message, const std::string& condition,
                             std::vector<ustring> paths);

/// Returns the refusal of a path that is not a valid file name.
FileServiceException invalidNameError(const ustring& absolutePath);

/// The same, with `shownPath` instead of `absolutePath` in the message. The file name in `paths` is
/// that of `absolutePath`.
FileServiceException invalidNameError(const ustring& shownPath, const ustring& absolutePath);

/// The result of checkParentWritable. If `ok` is false, the other fields are those of the refusal.
struct WritableCheck {
  std::vector<ustring> paths;
  std::string condition;
  ustring message;
  bool ok = false;
};

/// Checks whether an entry can be created in the parent directory of the path.
WritableCheck checkParentWritable(const ustring& absolutePath);

template <typename T>
Future<T> readyFuture(T&& value) {
  return makeReadyFuture<T>(std::forward<T>(value));
}

template <typename T>
Future<T> failedFuture(const FileServiceException& reason) {
  return makeFailedFuture<T>(std::make_exception_ptr(reason));
}

template <typename T>
Future<T> failedFuture(const std::string& id, ustring message, const std::string& condition,
                       std::vector<ustring> paths) {
  return failedFuture<T>(FileServiceException(id, std::move(message), condition, std::move(paths)));
}

template <typename T>
Future<T> failedFuture(WritableCheck&& failed) {
  return failedFuture<T>(FileServiceException::IO_ERROR, std::move(failed.message),
                         failed.condition, std::move(failed.paths));
}

} // namespace connector::file::v1
