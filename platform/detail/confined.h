#pragma once

namespace fl::filesystem::detail {

/// Whether the confinement of the process denies reading an existing path, or changing it if
/// `writes`. `directory` and `name` are as for `openat`.
bool is_denied(int directory, const char* name, bool writes);

} // namespace fl::filesystem::detail
