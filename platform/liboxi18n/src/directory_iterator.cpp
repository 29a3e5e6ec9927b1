#include "directory_cache.h"
#include "native_name.h"
#include "posix.h"

#include <fl/i18n/directory_iterator.h>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <utility>

namespace fl::filesystem::detail {

namespace {

/// Returns null if the path is missing or not a directory.
DirectoryStream open_directory(const std::u16string& path) {
  Descriptor opened = open_file(utf16_to_native(path), O_RDONLY | O_DIRECTORY);
  if (!opened.isOpen() && means_missing(errno)) {
    return nullptr;
  }
  DirectoryStream stream = toDirectoryStream(opened);
  require(stream != nullptr, path);
  return stream;
}

} // namespace

upath_directory_iterator_impl::upath_directory_iterator_impl(const std::u16string& path,
                                                             unsigned /*mode*/, bool /*flag*/) {
  if (DirectoryStream entries = open_directory(path)) {
    directory_ = std::make_shared<iterated_directory>(iterated_directory{path, std::move(entries)});
    increment();
  }
}

upath_directory_iterator_impl::~upath_directory_iterator_impl() = default;

bool upath_directory_iterator_impl::is_open() const noexcept {
  return directory_ != nullptr;
}

const upath_directory_entry& upath_directory_iterator_impl::entry() const noexcept {
  return entry_;
}

void upath_directory_iterator_impl::increment() {
  // Stays open only if there is a next entry: the end and a failure both close the directory.
  auto directory = std::exchange(directory_, nullptr);
  if (const dirent* const next = nextEntry(directory->entries.get())) {
    entry_.filename_ = native_to_utf16(next->d_name);
    set_iterated_directory(directory);
    directory_ = std::move(directory);
  } else {
    require(errno == 0, directory->path);
  }
}

} // namespace fl::filesystem::detail
