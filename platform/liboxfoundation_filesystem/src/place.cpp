#include "place.h"

#include <algorithm>
#include <string_view>

namespace fl::filesystem::detail {

namespace {

constexpr char16_t separator = u'/';

thread_local std::weak_ptr<const walked_folder> walked;

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

/// The folder when the path is an entry of it, else null.
std::shared_ptr<const walked_folder> walked_with(std::u16string_view path) {
  auto folder = walked.lock();
  return folder != nullptr && !name_in(folder->path, path).empty() ? folder : nullptr;
}

} // namespace

void walk_in(const std::shared_ptr<const walked_folder>& folder) {
  walked.reset();
  if (!folder->path.empty() && folder->path.front() == separator) {
    walked = folder;
  }
}

place::place(const std::u16string& path)
    : folder_(walked_with(path))
    , name_(folder_ != nullptr ? name_in(folder_->path, path) : path, path) {}

} // namespace fl::filesystem::detail
