#include <fl/filesystem/exceptions.h>
#include <fl/filesystem/native_name.h>
#include <fl/filesystem/walked_folder.h>
#include <fl/i18n/directory_iterator.h>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace fl::filesystem::detail {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const noexcept { closedir(directory); }
};

using Directory = std::unique_ptr<DIR, CloseDirectory>;

/// Null when nothing that can be walked is there.
Directory openDirectory(const std::u16string& path) {
  const std::string name = utf16_to_native(path);
  int descriptor = -1;
  do {
    // O_NONBLOCK: the folder may have become a FIFO, which must not hold us up.
    descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY | O_NONBLOCK);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0 && (errno == ENOENT || errno == ENOTDIR)) {
    return nullptr;
  }
  if (descriptor < 0) {
    throw_errno(errno, path);
  }
  if (DIR* const directory = fdopendir(descriptor)) {
    return Directory(directory);
  }
  const int reason = errno;
  ::close(descriptor);
  throw_errno(reason, path);
}

struct OpenFolder : walked_folder {
  OpenFolder(Directory opened, std::u16string itsPath)
      : walked_folder{std::move(itsPath), dirfd(opened.get())}
      , directory(std::move(opened)) {}

  Directory directory;
};

} // namespace

class upath_directory_iterator_impl::stream {
public:
  stream(Directory directory, std::u16string path)
      : folder_(std::make_shared<OpenFolder>(std::move(directory), std::move(path))) {}

  stream(const stream&) = delete;
  stream& operator=(const stream&) = delete;

  ~stream() { leave(*folder_); }

  /// Its entries are what the thread asks about next.
  void walk() const { walk_in(folder_); }

  /// The name of the next entry; false at the end.
  bool next(std::u16string& name) {
    while (const dirent* const entry = read()) {
      const std::string_view bytes = entry->d_name;
      if (bytes != "." && bytes != "..") {
        native_to_utf16(bytes, name);
        return true;
      }
    }
    return false;
  }

private:
  const dirent* read() {
    errno = 0; // All that tells a failure from the end.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): safe on a DIR that one thread uses, as here.
    const dirent* const entry = readdir(folder_->directory.get());
    if (entry == nullptr && errno != 0) {
      throw_errno(errno, folder_->path);
    }
    return entry;
  }

  std::shared_ptr<OpenFolder> folder_;
};

upath_directory_iterator_impl::upath_directory_iterator_impl(const std::u16string& path,
                                                             unsigned mode, bool /*flag*/) {
  if (mode != 0) {
    throw std::invalid_argument("Unknown mode of a folder iterator: " + std::to_string(mode));
  }
  if (Directory directory = openDirectory(path)) {
    stream_ = std::make_unique<stream>(std::move(directory), path);
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
  // Given back only with a next entry in hand: the end and a failure both close the folder.
  std::unique_ptr<stream> current = std::move(stream_);
  if (current->next(entry_.filename_)) {
    current->walk();
    stream_ = std::move(current);
  }
}

} // namespace fl::filesystem::detail
