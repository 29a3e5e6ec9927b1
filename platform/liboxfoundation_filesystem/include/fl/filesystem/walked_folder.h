#pragma once

#include <atomic>
#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace fl::filesystem::detail {

/// A folder that a thread is walking. Until it is left, and until the thread walks on in another
/// one, that thread's `status`, `exists` and `access` look up its entries in the open folder and
/// not from the root down, which costs the more the deeper the folder is. So they tell of what is
/// walked, also when another folder bears its path by now.
struct walked_folder {
  std::u16string path;
  int descriptor; ///< open for reading as long as the object lives
  std::atomic<bool> is_left{false};
};

/// Makes it the folder that the calling thread is walking. Without effect for a relative path.
void walk_in(const std::shared_ptr<const walked_folder>& folder);

/// For any thread; one that was walking there keeps the object until it walks in another folder.
void leave(walked_folder& folder);

} // namespace fl::filesystem::detail

#pragma GCC visibility pop
