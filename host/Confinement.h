#pragma once

#include <string>
#include <vector>

namespace connector::host {

/// What the process may do with files.
struct Confinement {
  std::vector<std::string> roots; ///< nothing outside these folders; none given: anywhere
  bool readOnly = false;          ///< nothing is created, changed or removed

  [[nodiscard]] bool isNeeded() const { return readOnly || !roots.empty(); }
};

/// Has the kernel (Landlock) hold this thread, and what it starts, to the confinement, for good;
/// links and ".." lead nowhere outside. It does not hide that a path exists, nor what kind, size
/// and times it has, and it does not take away what an open descriptor holds that has no path, such
/// as a memfd's memory, which has a name under /proc/self/fd. Returns the roots as open
/// descriptors, which nothing closes. Throws std::runtime_error when the kernel cannot do it or a
/// root is not a directory; the process must not go on then.
std::vector<int> confine(const Confinement& confinement);

} // namespace connector::host
