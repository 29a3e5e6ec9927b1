#include "Descriptions.h"
#include "Paths.h"
#include "Refusals.h"

#include <connector/file/v1/FileServiceImpl.h>

#include <connector/common/v1/Fault.h>
#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>
#include <fl/i18n/directory_iterator.h>

#include <chrono>
#include <thread>

namespace connector::file::v1 {

using common::v1::FaultCondition;
using file_common::v1::isValidFileName;
using fl::filesystem::file_status;
using fl::filesystem::upath;
using fl::filesystem::detail::upath_directory_iterator_impl;

namespace {

constexpr int MAX_RETRIES = 100;
constexpr std::chrono::milliseconds RETRY_DELAY{10};

/// Retries after any exception, because some failures are temporary, such as a busy mount. Rethrows
/// the exception of the last attempt.
void removeWithRetries(const upath& path) {
  for (int attempt = 1;; ++attempt) {
    try {
      fl::filesystem::remove_all(path);
      return;
    } catch (...) {
      if (attempt > MAX_RETRIES) {
        throw;
      }
    }
    std::this_thread::sleep_for(RETRY_DELAY);
  }
}

std::vector<FileInfo> describeEntries(const upath& directory) {
  std::vector<FileInfo> infos;
  for (upath_directory_iterator_impl entries(directory, 0, false); entries.is_open();
       entries.increment()) {
    const ustring& name = entries.entry().filename();
    // Names of one character are listed, although `move` of a directory skips them.
    if (name.empty() || name.front() == u'.') {
      continue;
    }
    infos.push_back(
        makeFileInfo(childOf(directory, fl::filesystem::detail::make_native_form(name, true))));
  }
  return infos;
}

} // namespace

Future<FileInfo> FileServiceImpl::remove(const ustring& path) {
  const upath abs = toAbsolutePath(path);

  if (!isValidFileName(path)) {
    return failedFuture<FileInfo>(invalidNameError(path, abs));
  }
  if (!fl::filesystem::exists(abs)) {
    return failedFuture<FileInfo>(
        refusal(abs.string() + u" does not exist.", FaultCondition::FILE_NOT_FOUND, {path}));
  }
  removeWithRetries(abs);
  return readyFuture(makeFileInfo(abs));
}

Future<std::vector<FileInfo>> FileServiceImpl::list(const ustring& path) {
  const upath abs = toAbsolutePath(path.empty() ? fl::filesystem::get_current_path() : path);
  const file_status st = fl::filesystem::status(abs);

  // The name check and its message use the absolute path; those of `remove` use the received one.
  if (!isValidFileName(abs)) {
    return failedFuture<std::vector<FileInfo>>(invalidNameError(abs));
  }
  if (!file_status::exists(st)) {
    return failedFuture<std::vector<FileInfo>>(
        refusal(abs.string() + u" does not exist.", FaultCondition::FILE_NOT_FOUND, {abs}));
  }
  if (!file_status::is_directory(st)) {
    return readyFuture(std::vector<FileInfo>());
  }
  return readyFuture(describeEntries(abs));
}

} // namespace connector::file::v1
