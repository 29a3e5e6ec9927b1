#include "confined.h"
#include "posix.h"

#include <fl/filesystem/confinement.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace fl::filesystem {

namespace {

struct confinement {
  std::vector<int> roots;
  bool read_only = false;
};

confinement current; // does not change once the process has several threads

/// Returns the path of an open file, with links resolved. Empty if no file is open, /proc is not
/// mounted, or the path is too long.
std::string path_of(int opened) {
  const std::string name = "/proc/self/fd/" + std::to_string(opened);
  std::array<char, PATH_MAX> path; // NOLINT(*-member-init): readlink fills it
  const ssize_t size = ::readlink(name.c_str(), path.data(), path.size());
  return {path.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

bool is_within(const std::string& root, const std::string& path) {
  return path.compare(0, root.size(), root) == 0 &&
         (path.size() == root.size() || root == "/" || path[root.size()] == '/');
}

/// Returns whether `name` is an entry, other than a link, of the directory that this thread
/// iterates over. The kernel allowed opening that directory, so the entry is inside the roots too.
/// Without this shortcut, listing 10,000 entries under a root takes 2.3 times as long.
bool is_iterated_entry(int directory, const char* name) {
  char target = 0;
  return directory != AT_FDCWD && ::readlinkat(directory, name, &target, 1) < 0 && errno == EINVAL;
}

/// False for a path that cannot be resolved; the kernel then decides.
bool is_outside(int directory, const char* name) {
  const detail::Descriptor opened(::openat(directory, name, O_PATH | O_CLOEXEC));
  const std::string path = path_of(opened.get());
  // The roots are resolved each time, because a renamed root is still a root.
  return !path.empty() &&
         std::none_of(current.roots.begin(), current.roots.end(),
                      [&path](int root) { return is_within(path_of(root), path); });
}

} // namespace

void set_confinement(std::vector<int> roots, bool read_only) {
  current = {std::move(roots), read_only};
}

bool detail::is_denied(int directory, const char* name, bool writes) {
  if (writes && current.read_only) {
    return true;
  }
  return !current.roots.empty() && !is_iterated_entry(directory, name) &&
         is_outside(directory, name);
}

} // namespace fl::filesystem
