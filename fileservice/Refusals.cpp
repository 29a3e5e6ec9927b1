#include "Refusals.h"

#include <connector/common/v1/Fault.h>
#include <connector/file_common/v1/FileNames.h>
#include <fl/filesystem/path.h>
#include <fl/i18n/convert.h>

#include <cerrno>

namespace connector::file::v1 {

using common::v1::FaultCondition;
using fl::filesystem::detail::extract_filename;

FileServiceException refusal(ustring message, const std::string& condition,
                             std::vector<ustring> paths) {
  return {FileServiceException::IO_ERROR, std::move(message), condition, std::move(paths)};
}

FileServiceException invalidNameError(const ustring& absolutePath) {
  return invalidNameError(absolutePath, absolutePath);
}

FileServiceException invalidNameError(const ustring& shownPath, const ustring& absolutePath) {
  return refusal(shownPath + u" is an invalid name.", FaultCondition::FILE_NAME_NOT_SUPPORTED,
                 {extract_filename(absolutePath)});
}

WritableCheck checkParentWritable(const ustring& absolutePath) {
  const ustring parent = fl::filesystem::detail::extract_parent_path(absolutePath);
  const int code = file_common::v1::isWritableDirectory(parent, false);
  if (code == 0) {
    return {{}, {}, fl::i18n::to_ustring(""), true};
  }
  std::vector<ustring> paths{parent, extract_filename(absolutePath)};
  if (code == ENOSPC) {
    return {std::move(paths), FaultCondition::OVER_DISK_QUOTA, parent + u" disk quota exceeded.",
            false};
  }
  return {std::move(paths), FaultCondition::FOLDER_ACCESS_DENIED,
          parent + u" cannot be written to.", false};
}

} // namespace connector::file::v1
