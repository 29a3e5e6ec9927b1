#pragma once

#include <connector/file/v1/FileService.h>

#include <fl/filesystem/operations.h>
#include <fl/filesystem/upath.h>

namespace connector::file::v1 {

/// Describes the file or directory at the path, or its absence.
FileInfo makeFileInfo(fl::filesystem::upath path);

/// The same with the kind, size and time of a status that was just taken.
FileInfo makeFileInfo(fl::filesystem::upath path, const fl::filesystem::file_status& st);

} // namespace connector::file::v1
