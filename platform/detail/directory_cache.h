#pragma once

#include <atomic>
#include <memory>
#include <string>

namespace fl::filesystem::detail {

/// A directory that a thread iterates over. `status`, `exists` and `access` of that thread look up
/// its entries by its descriptor, until it is left or the thread iterates over another directory.
struct iterated_directory {
  std::u16string path;
  int descriptor; ///< open for reading during the lifetime of the object
  std::atomic<bool> is_left{false};
};

/// Sets the directory that the calling thread iterates over; clears it if the path is relative.
void iterate_over(const std::shared_ptr<const iterated_directory>& directory);

/// Ends the iteration. Any thread may call this. If it is not the iterating thread, that thread
/// keeps the object until it iterates over another directory.
void leave(iterated_directory& directory);

/// The first two arguments of a system call such as `fstatat`.
struct lookup {
  int directory;
  std::string name;
};

/// Returns the arguments for a path. An entry of the calling thread's iterated directory is
/// relative to that directory. Throws like utf16_to_native.
lookup lookup_for(const std::u16string& path);

} // namespace fl::filesystem::detail
