#include "directory_cache.h"
#include "native_name.h"
#include "posix.h"
#include "throw_errno.h"

#include <fl/i18n/directory_iterator.h>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <stdexcept>

namespace fl::filesystem::detail {

namespace {

/// Returns null if the path is missing or not a directory.
directory_stream open_directory(const std::u16string& path) {
  const std::string name = utf16_to_native(path);
  descriptor opened(
      uninterrupted([&name] { return ::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!opened.isOpen() && means_missing(errno)) {
    return nullptr;
  }
  directory_stream stream = toDirectoryStream(opened);
  if (stream == nullptr) {
    throw_errno(errno, path);
  }
  return stream;
}

struct streamed_directory : iterated_directory {
  streamed_directory(directory_stream opened, std::u16string its_path)
      : iterated_directory{std::move(its_path), ::dirfd(opened.get())}
      , entries(std::move(opened)) {}

  directory_stream entries;
};

} // namespace

class upath_directory_iterator_impl::stream {
public:
  stream(directory_stream opened, std::u16string path)
      : directory_(std::make_shared<streamed_directory>(std::move(opened), std::move(path))) {}

  stream(const stream&) = delete;
  stream& operator=(const stream&) = delete;

  ~stream() { leave(*directory_); }

  /// Makes the calling thread look up the entries in this directory.
  void make_current() const { iterate_over(directory_); }

  /// Gets the name of the next entry. Returns false at the end.
  bool next(std::u16string& name) {
    const dirent* const entry = nextEntry(directory_->entries.get());
    if (entry != nullptr) {
      name = native_to_utf16(entry->d_name);
    } else if (errno != 0) {
      throw_errno(errno, directory_->path);
    }
    return entry != nullptr;
  }

private:
  std::shared_ptr<streamed_directory> directory_;
};

upath_directory_iterator_impl::upath_directory_iterator_impl(const std::u16string& path,
                                                             unsigned mode, bool /*flag*/) {
  if (mode != 0) {
    throw std::invalid_argument("Unknown mode of a directory iterator: " + std::to_string(mode));
  }
  if (directory_stream opened = open_directory(path)) {
    stream_ = std::make_unique<stream>(std::move(opened), path);
    increment();
  }
}

upath_directory_iterator_impl::~upath_directory_iterator_impl() = default;

bool upath_directory_iterator_impl::is_open() const noexcept {
  return stream_ != nullptr;
}

const upath_directory_entry& upath_directory_iterator_impl::entry() const noexcept {
  return entry_;
}

void upath_directory_iterator_impl::increment() {
  // Stays open only if there is a next entry: the end and a failure both close the directory.
  std::unique_ptr<stream> current = std::move(stream_);
  if (current->next(entry_.filename_)) {
    current->make_current();
    stream_ = std::move(current);
  }
}

} // namespace fl::filesystem::detail
