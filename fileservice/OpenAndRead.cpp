#include "ByteBuffer.h"
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
#include <cstdint>
#include <ios>
#include <stdexcept>
#include <text/Utf8.h>

namespace connector::file::v1 {

using common::v1::FaultCondition;
using file_common::v1::isValidFileName;
using fl::filesystem::file_status;
using fl::filesystem::upath;
using fl::filesystem::detail::extract_filename;

namespace {

constexpr double SIZE_LIMIT = 20000000.0; // in bytes; a file of exactly this size is refused

/// Returns the size in bytes, or -1 if the stream fails, and seeks back to the beginning.
std::int64_t sizeOf(std::istream& file) {
  file.seekg(0, std::ios_base::end);
  const std::int64_t size = file.tellg();
  // If seeking back failed, `read` would return nothing and not set the badbit.
  return file.seekg(0, std::ios_base::beg) ? size : -1;
}

/// Creates an empty file. A file that another process has created meanwhile keeps its contents: the
/// platform's stream empties a file only with `trunc`.
void createEmpty(const ustring& path) {
  const auto name = fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(path);
  fl::filesystem::ofstream file(name, std::ios_base::out | std::ios_base::binary, SHARE_READ_WRITE);
  if (!file.is_open()) {
    throw fl::filesystem::SystemError(errno, path, {});
  }
  file.close();
}

} // namespace

Future<File> FileServiceImpl::read(const ustring& path) {
  const upath abs = toAbsolutePath(path);
  const file_status st = fl::filesystem::status(abs);

  if (!file_status::exists(st) || !file_status::is_regular(st)) {
    // A plain std::runtime_error; all other checks return a refusal.
    return makeFailedFuture<File>(std::make_exception_ptr(
        std::runtime_error(text::toUtf8(u"Error creating or reading file: '" + path + u"'."))));
  }
  if (!fl::filesystem::access(abs, READ_ACCESS)) {
    return failedFuture<File>(refusal(u"Read permission not granted for the file: " + path,
                                      FaultCondition::FILE_ACCESS_DENIED, {path}));
  }

  fl::filesystem::ifstream file(abs, std::ios_base::in | std::ios_base::binary, SHARE_READ_WRITE);
  const std::int64_t size = sizeOf(file);
  if (size < 0 || static_cast<double>(size) >= SIZE_LIMIT) {
    // The refusal's message ends with the size, its only `paths` entry with the path.
    const ustring phrase = u"File size is invalid or too big (20MB limit): ";
    return failedFuture<File>(refusal(phrase + fl::i18n::to_ustring(size),
                                      FaultCondition::FILE_IO_GENERIC, {phrase + path}));
  }

  const auto count = static_cast<std::uint32_t>(size);
  ByteBuffer buffer(count);
  file.read(buffer.data(), count);
  if (file.bad()) {
    // The disk failed: the caller must not take partial contents for the whole file.
    throw fl::filesystem::SystemError(errno, abs, {});
  }
  buffer.setSize(static_cast<std::size_t>(file.gcount()));
  return readyFuture(File(makeFileInfo(abs, st), std::move(buffer).release()));
}

Future<File> FileServiceImpl::open(const ustring& path) {
  const upath abs = toAbsolutePath(path);
  const file_status st = fl::filesystem::status(abs);

  if (!isValidFileName(path)) {
    return failedFuture<File>(invalidNameError(abs));
  }
  if (!fl::filesystem::exists(abs)) {
    return failedFuture<File>(
        refusal(abs.string() + u" does not exist.", FaultCondition::FILE_NOT_FOUND, {abs}));
  }
  if (file_status::is_directory(st)) {
    // The same condition as for a missing file, although the path exists.
    return failedFuture<File>(
        refusal(abs.string() + u" exists but is a directory. Input must be a file.",
                FaultCondition::FILE_NOT_FOUND, {abs}));
  }
  return read(path);
}

Future<File> FileServiceImpl::openOrCreate(const ustring& path) {
  const upath abs = toAbsolutePath(path);
  const file_status st = fl::filesystem::status(abs);
  // Called for its exceptions: paths that the platform rejects must fail before any check.
  static_cast<void>(makeFileInfo(abs));

  if (!isValidFileName(abs)) {
    return failedFuture<File>(invalidNameError(abs));
  }
  if (!fl::filesystem::exists(abs)) {
    if (WritableCheck wc = checkParentWritable(abs); !wc.ok) {
      return failedFuture<File>(std::move(wc));
    }
    createEmpty(path);
    return read(path);
  }
  if (!fl::filesystem::access(path, READ_ACCESS)) {
    return failedFuture<File>(
        refusal(path + u" cannot be read.", FaultCondition::FILE_ACCESS_DENIED, {path}));
  }
  if (file_status::is_directory(st)) {
    return failedFuture<File>(
        refusal(abs.string() + u" already exists and is a directory. Input must be a file.",
                FaultCondition::FILE_IO_GENERIC, {extract_filename(abs)}));
  }
  return read(path);
}

Future<FileInfo> FileServiceImpl::info(const ustring& path) {
  return readyFuture(
      makeFileInfo(toAbsolutePath(path.empty() ? fl::filesystem::get_current_path() : path)));
}

Future<bool> FileServiceImpl::exists(const upath& path) {
  return readyFuture(file_status::exists(fl::filesystem::status(path)));
}

} // namespace connector::file::v1
