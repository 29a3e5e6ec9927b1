#pragma once

#include <connector/file/v1/FileService.h>

#include <fl/filesystem/operations.h>
#include <fl/filesystem/upath.h>

namespace connector::file::v1 {

/// Describes the file or directory at the absolute path. A missing path is described as deleted.
FileInfo makeFileInfo(fl::filesystem::upath path);

/// The same, with kind, size and time taken from `st`, the current status of the path.
FileInfo makeFileInfo(fl::filesystem::upath path, const fl::filesystem::file_status& st);

} // namespace connector::file::v1
