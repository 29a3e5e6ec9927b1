#pragma once

#include <string>
#include <vector>

namespace connector::host {

/// Confines this thread, and every thread and process that it starts, to these directories, or to
/// all if there are none. With `readOnly`, no file can be created, changed or removed. The kernel
/// (Landlock) enforces it, so links and ".." do not lead outside. It does not hide whether a path
/// exists, nor its kind, size and times. Files without a path, such as a memfd, stay usable if they
/// are open already.
///
/// Makes the first root the working directory. Returns the roots as open descriptors, which stay
/// open. Throws std::runtime_error if the kernel cannot confine or a root is not a directory; the
/// process must not execute requests then.
std::vector<int> confine(const std::vector<std::string>& roots, bool readOnly);

} // namespace connector::host
