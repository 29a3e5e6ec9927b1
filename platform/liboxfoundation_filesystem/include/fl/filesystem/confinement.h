#pragma once

#include <vector>

namespace fl::filesystem {

/// The host calls this after the kernel has confined the process, because the kernel's access call
/// ignores that confinement. From then on `access` and `isWritableDirectory` deny every path
/// outside the roots, and all write access if `read_only`. Their results only select the refusal:
/// the path may lead elsewhere a moment later, and only the kernel enforces the confinement.
///
/// `roots` are open directories and must stay open. With no roots, no path is outside. Call at most
/// once, before the process starts threads.
void set_confinement(std::vector<int> roots, bool read_only);

} // namespace fl::filesystem
