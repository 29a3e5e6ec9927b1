#pragma once

// The refusals that several operations share, and how an operation returns a result or a refusal.

#include <connector/file/v1/FileService.h>
#include <connector/file/v1/FileServiceException.h>

#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace connector::file::v1 {

/// A refusal with the id that every refusal by the service has.
FileServiceException refusal(ustring message, const std::string& condition,
                             std::vector<ustring> paths);

/// About the file name of `absolutePath`.
FileServiceException invalidNameError(const ustring& absolutePath);

/// The same with another form of the path in the message.
FileServiceException invalidNameError(const ustring& shownPath, const ustring& absolutePath);

/// The answer of checkParentWritable. If not `ok`, the other fields are those of the refusal.
struct WritableCheck {
  std::vector<ustring> paths;
  std::string condition;
  ustring message;
  bool ok = false;
};

/// Whether an entry can be made in the parent directory of the path.
WritableCheck checkParentWritable(const ustring& absolutePath);

template <typename T>
Future<T> readyFuture(T&& value) {
  return makeReadyFuture<T>(std::forward<T>(value));
}

template <typename T>
Future<T> failedFuture(const FileServiceException& refused) {
  return makeFailedFuture<T>(std::make_exception_ptr(refused));
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
