#include "Checks.h"

#include "PlatformValues.h"

#include <connector/common/v1/Fault.h>
#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/path.h>
#include <fl/i18n/convert.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <cerrno>
#include <cstdint>

namespace connector::file::v1 {

using common::v1::FaultCondition;
using file_common::v1::isWritableDirectory;
using fl::filesystem::file_status;
using fl::filesystem::upath;

namespace {

std::int64_t secondsSinceEpoch(const boost::posix_time::ptime& time) {
  using namespace boost::posix_time;
  static const ptime epoch(boost::gregorian::date(1970, 1, 1), time_duration(0, 0, 0));
  return (time - epoch).total_microseconds() / 1'000'000;
}

bool isWritable(const upath& path, bool isDirectory) {
  if (isDirectory) {
    return isWritableDirectory(path, false) == 0;
  }
  return fl::filesystem::access(path, WRITE_ACCESS);
}

} // namespace

upath toAbsolutePath(const ustring& path) {
  return fl::filesystem::absolute(upath(path), ustring());
}

upath childOf(const upath& folder, const ustring& name) {
  ustring child;
  child.reserve(folder.string().size() + 1 + name.size());
  child += folder;
  fl::filesystem::detail::concatenate_pathname(child, name, true);
  return upath(std::move(child));
}

FileServiceException invalidNameError(const ustring& absolutePath) {
  return invalidNameError(absolutePath, absolutePath);
}

FileServiceException invalidNameError(const ustring& shownPath, const ustring& absolutePath) {
  return {FileServiceException::IO_ERROR,
          shownPath + u" is an invalid name.",
          FaultCondition::FILE_NAME_NOT_SUPPORTED,
          {fl::filesystem::detail::extract_filename(absolutePath)}};
}

WritableCheck checkParentWritable(const ustring& absolutePath) {
  const ustring parent = fl::filesystem::detail::extract_parent_path(absolutePath);
  const int rc = isWritableDirectory(parent, false);
  if (rc == 0) {
    return {{}, {}, fl::i18n::to_ustring(""), true};
  }
  // About the folder, hence the parent and not the file in the texts.
  std::vector<ustring> paths{parent, fl::filesystem::detail::extract_filename(absolutePath)};
  if (rc == ENOSPC) {
    return {std::move(paths), FaultCondition::OVER_DISK_QUOTA, parent + u" disk quota exceeded.",
            false};
  }
  return {std::move(paths), FaultCondition::FOLDER_ACCESS_DENIED,
          parent + u" cannot be written to.", false};
}

FileInfo makeFileInfo(upath path) {
  const file_status st = fl::filesystem::status(path);
  return makeFileInfo(std::move(path), st);
}

FileInfo makeFileInfo(upath path, const file_status& st) {
  const bool isDirectory = file_status::is_directory(st);
  const bool present = fl::filesystem::exists(path.string());
  const bool canWrite = isWritable(path, isDirectory);

  FileInfo info(std::move(path).string(), isDirectory);
  info.setAttribute(FileAttributes::IS_SHARED, false);
  info.setAttribute(FileAttributes::CAN_WRITE, canWrite);
  info.setAttribute(FileAttributes::DELETED, !present);
  info.setAttribute(FileAttributes::SIZE, std::uint64_t{st.size()});
  info.setAttribute(FileAttributes::MODIFIED, secondsSinceEpoch(st.last_write_time()));
  return info;
}

} // namespace connector::file::v1
