#pragma once

#include <vector>

#pragma GCC visibility push(default)

namespace fl::filesystem {

/// For the program that hosts the service, after it has let the kernel confine the process. The
/// kernel's access call ignores that confinement; from now on `access` and `isWritableDirectory`
/// deny every path outside the roots, and with `read_only` all writing. These answers choose the
/// refusal: the path may lead elsewhere a moment later, and only the kernel enforces anything.
///
/// `roots` are open directories and must stay open; none means that any path is inside. Call at
/// most once, before the process starts threads.
void set_confinement(std::vector<int> roots, bool read_only);

} // namespace fl::filesystem

#pragma GCC visibility pop
