#include "place.h"

#include <fl/filesystem/walked_folder.h>

#include <algorithm>
#include <fcntl.h>

namespace fl::filesystem::detail {

namespace {

constexpr char16_t separator = u'/';

thread_local std::shared_ptr<const walked_folder> walked;

/// The name that a path has in a folder of which it is an entry, else nothing.
std::u16string_view name_in(std::u16string_view folder, std::u16string_view path) {
  if (path.size() <= folder.size() || !std::equal(folder.begin(), folder.end(), path.begin())) {
    return {};
  }
  path.remove_prefix(folder.size());
  if (folder.back() != separator) {
    if (path.front() != separator) {
      return {};
    }
    path.remove_prefix(1);
  }
  return path.find(separator) == std::u16string_view::npos ? path : std::u16string_view();
}

} // namespace

void walk_in(const std::shared_ptr<const walked_folder>& folder) {
  if (walked == folder) {
    return;
  }
  walked.reset();
  if (!folder->path.empty() && folder->path.front() == separator) {
    walked = folder;
  }
}

void leave(walked_folder& folder) {
  folder.is_left = true;
  if (walked.get() == &folder) {
    walked.reset();
  }
}

place::start place::start_of(std::u16string_view path) noexcept {
  const walked_folder* const folder = walked.get();
  if (folder != nullptr && !folder->is_left) {
    if (const auto name = name_in(folder->path, path); !name.empty()) {
      return {folder->descriptor, name};
    }
  }
  return {AT_FDCWD, path};
}

} // namespace fl::filesystem::detail
