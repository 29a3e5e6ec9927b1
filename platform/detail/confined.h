#pragma once

namespace fl::filesystem::detail {

/// Returns whether the confinement of the process denies access to an existing path: write access
/// if `writes`, else read access. `directory` and `name` are as for `openat`.
bool is_denied(int directory, const char* name, bool writes);

} // namespace fl::filesystem::detail
