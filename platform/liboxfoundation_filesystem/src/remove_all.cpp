#include "native_name.h"
#include "posix.h"
#include "throw_errno.h"

#include <fl/filesystem/operations.h>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fl::filesystem {

namespace {

using detail::descriptor;
using detail::stat_buffer;
using detail::throw_errno;

constexpr std::size_t most_open_folders = 32;
// How often a folder is gone through while others keep changing it.
constexpr int most_looks = 100;
constexpr int open_folder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// A folder in the course of being emptied. Its stream is closed while too many are open.
struct folder {
  std::string name; // in the folder above
  dev_t device = 0;
  ino_t inode = 0;
  detail::directory_stream stream;
  int looks_left = most_looks;

  [[nodiscard]] int get() const { return ::dirfd(stream.get()); }
};

/// Removes what is no folder, or is an empty one. 0, ENOTEMPTY for a folder with entries, else the
/// system's reason; a mount point is refused as such before anything on it is lost.
int remove_one(int parent, const std::string& name) {
  if (::unlinkat(parent, name.c_str(), 0) == 0) {
    return 0;
  }
  if (errno != EISDIR) {
    return errno;
  }
  if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0) {
    return 0;
  }
  return errno == EEXIST ? ENOTEMPTY : errno;
}

bool is_dot_or_dot_dot(const std::string& name) {
  return name == "." || name == "..";
}

/// Empties and removes one folder, depth first, without recursion. Every step is relative to an
/// open folder and follows no link, so neither the length of a path nor a link that is put in
/// place of a folder matters.
class tree_removal {
public:
  /// `parent` stays open meanwhile; `path` is what it and `name` are together, for errors.
  tree_removal(int parent, std::string name, std::string path)
      : parent_(parent)
      , path_(std::move(path)) {
    if (!enter(parent_, std::move(name)) && errno != ENOENT) {
      fail(errno);
    }
  }

  void run() {
    while (!folders_.empty()) {
      if (const dirent* entry = next_entry(); entry != nullptr) {
        discard(entry->d_name);
      } else {
        leave();
      }
    }
  }

private:
  /// Null at the end of the innermost folder.
  const dirent* next_entry() {
    errno = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is known to this object alone.
    const dirent* entry = ::readdir(folders_.back().stream.get());
    while (entry != nullptr && is_dot_or_dot_dot(entry->d_name)) {
      entry = ::readdir(folders_.back().stream.get()); // NOLINT(concurrency-mt-unsafe): as above
    }
    if (entry == nullptr && errno != 0) {
      fail(errno);
    }
    return entry;
  }

  /// Removes an entry of the innermost folder, or goes into it. What vanishes or changes its kind
  /// meanwhile is left for another look.
  void discard(const std::string& name) {
    const int here = folders_.back().get();
    int code = remove_one(here, name);
    if (code == ENOTEMPTY) {
      code = enter(here, name) ? 0 : errno;
    }
    if (code != 0 && code != ENOENT && code != ENOTDIR && code != ELOOP) {
      throw_errno(code, detail::native_to_utf16(inner_path() + "/" + name));
    }
  }

  /// Makes `name` the innermost folder. False, with errno set, when it cannot be opened as one.
  bool enter(int parent, std::string name) {
    folder next;
    next.stream = open_stream(parent, name.c_str(), next.device, next.inode);
    if (next.stream == nullptr) {
      return false;
    }
    next.name = std::move(name);
    folders_.push_back(std::move(next));
    if (folders_.size() - first_open_ > most_open_folders) {
      folders_[first_open_++].stream.reset();
    }
    return true;
  }

  /// Removes the innermost folder, whose end is reached, or goes through it once more.
  void leave() {
    const int parent = open_parent();
    folder& here = folders_.back();
    const bool gone = ::unlinkat(parent, here.name.c_str(), AT_REMOVEDIR) == 0;
    const int code = gone ? 0 : errno;
    if ((code == ENOTEMPTY || code == EEXIST) && --here.looks_left > 0) {
      return ::rewinddir(here.stream.get());
    }
    // Something else bears the name by now: a further look at the folder above takes care of it.
    const bool swapped = code == ENOTDIR && folders_.size() > 1;
    if (!gone && code != ENOENT && !swapped) {
      fail(code);
    }
    folders_.pop_back();
  }

  /// The folder above the innermost one, opened again when it had to be closed.
  int open_parent() {
    if (folders_.size() == 1) {
      return parent_;
    }
    folder& parent = folders_[folders_.size() - 2];
    if (parent.stream != nullptr) {
      return parent.get();
    }
    dev_t device = 0;
    ino_t inode = 0;
    parent.stream = open_stream(folders_.back().get(), "..", device, inode);
    if (parent.stream == nullptr) {
      fail(errno);
    }
    if (device != parent.device || inode != parent.inode) {
      fail(ESTALE); // The innermost folder was moved: ".." is not where we came from.
    }
    first_open_ = folders_.size() - 2;
    return parent.get();
  }

  static detail::directory_stream open_stream(int parent, const char* name, dev_t& device,
                                              ino_t& inode) {
    descriptor opened(::openat(parent, name, open_folder));
    stat_buffer found{};
    if (!opened.isOpen() || ::fstat(opened.get(), &found) != 0) {
      return nullptr;
    }
    device = found.st_dev;
    inode = found.st_ino;
    return detail::to_directory_stream(opened);
  }

  [[noreturn]] void fail(int code) const {
    throw_errno(code, detail::native_to_utf16(inner_path()));
  }

  [[nodiscard]] std::string inner_path() const {
    std::string path = path_;
    for (std::size_t level = 1; level < folders_.size(); ++level) {
      path += "/" + folders_[level].name;
    }
    return path;
  }

  int parent_;
  std::string path_;
  std::vector<folder> folders_; // outermost first; those before first_open_ have no stream
  std::size_t first_open_ = 0;
};

} // namespace

void remove_all(const std::u16string& path) {
  std::string whole = detail::utf16_to_native(path);
  if (whole.empty()) {
    throw_errno(ENOENT, path);
  }
  whole.erase(whole.find_last_not_of('/') + 1);
  const std::string name = whole.substr(whole.find_last_of('/') + 1);
  if (name.empty() || is_dot_or_dot_dot(name)) {
    throw_errno(EINVAL, path);
  }

  const std::string parent_name = whole.substr(0, whole.size() - name.size());
  const descriptor parent(
      ::open(parent_name.empty() ? "." : parent_name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const int code = parent.isOpen() ? remove_one(parent.get(), name) : errno;
  if (code == ENOTEMPTY) {
    tree_removal(parent.get(), name, whole).run();
  } else if (code != 0 && !detail::means_missing(code)) {
    throw_errno(code, path);
  }
}

} // namespace fl::filesystem
