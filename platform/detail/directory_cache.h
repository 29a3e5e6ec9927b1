#pragma once

#include "posix.h"

#include <memory>
#include <string>

namespace fl::filesystem::detail {

/// A directory that a thread iterates over.
struct iterated_directory {
  std::u16string path;
  DirectoryStream entries;
};

/// Sets the directory that the calling thread iterates over, until the directory is destroyed or
/// the thread iterates over another one. Ignores a directory with a relative path.
void set_iterated_directory(const std::shared_ptr<const iterated_directory>& directory);

/// The first two arguments of a system call such as `fstatat`.
struct lookup {
  int directory;
  std::string name;
  std::shared_ptr<const iterated_directory> opened = nullptr; ///< keeps `directory` open
};

/// Returns the arguments for a path. An entry of the directory that the calling thread iterates
/// over is relative to that directory. Throws like utf16_to_native.
lookup lookup_for(const std::u16string& path);

} // namespace fl::filesystem::detail
