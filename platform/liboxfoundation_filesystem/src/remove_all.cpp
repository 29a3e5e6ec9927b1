#include "native_name.h"
#include "posix.h"

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

using detail::Descriptor;
using detail::stat_buffer;
using detail::throw_errno;

constexpr std::size_t MAX_OPEN_DIRECTORIES = 32;
constexpr int MAX_SCANS = 100; // of one directory, which other processes may keep filling

/// A directory that is being emptied.
struct directory {
  std::string name; // in its parent
  stat_buffer status{};
  detail::DirectoryStream stream;
  int scans_left = MAX_SCANS;

  [[nodiscard]] int get() const { return ::dirfd(stream.get()); }
};

/// Removes a file, a link or an empty directory. Returns 0, ENOTEMPTY for a directory with entries,
/// or another errno. A mount point fails with EBUSY before anything in it is removed.
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

/// Empties and removes one directory, depth first, without recursion. Every system call is relative
/// to an open directory and follows no link. Long paths therefore work, and a link that replaces a
/// directory is not followed.
class tree_removal {
public:
  /// `parent` must stay open. `path` is the path of the directory, for exceptions.
  tree_removal(int parent, std::string name, std::string path)
      : parent_(parent)
      , path_(std::move(path)) {
    if (!enter(parent_, std::move(name)) && errno != ENOENT) {
      fail(errno);
    }
  }

  void run() {
    while (!directories_.empty()) {
      if (const dirent* entry = detail::nextEntry(directories_.back().stream.get())) {
        discard(entry->d_name);
      } else if (errno != 0) {
        fail(errno);
      } else {
        leave();
      }
    }
  }

private:
  /// Removes an entry of the innermost directory, or enters it. If the entry vanishes or changes
  /// its kind meanwhile, leaves it to the next scan.
  void discard(const std::string& name) {
    const int here = directories_.back().get();
    int code = remove_one(here, name);
    if (code == ENOTEMPTY) {
      code = enter(here, name) ? 0 : errno;
    }
    if (code != 0 && code != ENOENT && code != ENOTDIR && code != ELOOP) {
      throw_errno(code, detail::native_to_utf16(inner_path() + "/" + name));
    }
  }

  /// Makes `name` the innermost directory. Returns false with errno set if it cannot be opened.
  bool enter(int parent, std::string name) {
    directory next;
    next.stream = open_stream(parent, name.c_str(), next.status);
    if (next.stream == nullptr) {
      return false;
    }
    next.name = std::move(name);
    directories_.push_back(std::move(next));
    if (directories_.size() - first_open_ > MAX_OPEN_DIRECTORIES) {
      directories_[first_open_++].stream.reset();
    }
    return true;
  }

  /// Removes the innermost directory after its last entry, or scans it once more.
  void leave() {
    const int parent = open_parent();
    directory& here = directories_.back();
    const int code = ::unlinkat(parent, here.name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
    if ((code == ENOTEMPTY || code == EEXIST) && --here.scans_left > 0) {
      return ::rewinddir(here.stream.get());
    }
    // The entry was replaced meanwhile; the parent's next scan removes it.
    const bool is_replaced = code == ENOTDIR && directories_.size() > 1;
    if (code != 0 && code != ENOENT && !is_replaced) {
      fail(code);
    }
    directories_.pop_back();
  }

  /// Returns the parent of the innermost directory. Opens it again if it was closed.
  int open_parent() {
    if (directories_.size() == 1) {
      return parent_;
    }
    directory& parent = directories_[directories_.size() - 2];
    if (parent.stream != nullptr) {
      return parent.get();
    }
    stat_buffer found{};
    parent.stream = open_stream(directories_.back().get(), "..", found);
    if (parent.stream == nullptr) {
      fail(errno);
    }
    if (!detail::isSameFile(found, parent.status)) {
      fail(ESTALE); // the innermost directory was moved to another parent
    }
    first_open_ = directories_.size() - 2;
    return parent.get();
  }

  static detail::DirectoryStream open_stream(int parent, const char* name, stat_buffer& status) {
    Descriptor opened(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!opened.isOpen() || ::fstat(opened.get(), &status) != 0) {
      return nullptr;
    }
    return detail::toDirectoryStream(opened);
  }

  [[noreturn]] void fail(int code) const {
    throw_errno(code, detail::native_to_utf16(inner_path()));
  }

  [[nodiscard]] std::string inner_path() const {
    std::string path = path_;
    for (std::size_t level = 1; level < directories_.size(); ++level) {
      path += "/" + directories_[level].name;
    }
    return path;
  }

  int parent_;
  std::string path_;
  std::vector<directory> directories_; // outermost first; those before first_open_ have no stream
  std::size_t first_open_ = 0;
};

} // namespace

void remove_all(const std::u16string& path) {
  std::string native = detail::utf16_to_native(path);
  if (native.empty()) {
    throw_errno(ENOENT, path);
  }
  native.erase(native.find_last_not_of('/') + 1);
  const std::string name = native.substr(native.find_last_of('/') + 1);
  if (name.empty() || detail::isDotOrDotDot(name)) {
    throw_errno(EINVAL, path);
  }

  const std::string parent_path = native.substr(0, native.size() - name.size());
  const Descriptor parent(
      ::open(parent_path.empty() ? "." : parent_path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const int code = parent.isOpen() ? remove_one(parent.get(), name) : errno;
  if (code == ENOTEMPTY) {
    tree_removal(parent.get(), name, native).run();
  } else if (code != 0 && !detail::means_missing(code)) {
    throw_errno(code, path);
  }
}

} // namespace fl::filesystem
