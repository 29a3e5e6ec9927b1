#pragma once

// Names for values that are passed to the platform's functions.

#include <fl/filesystem/operations.h>

namespace connector::file::v1 {

/// Modes of `access`.
constexpr unsigned READ_ACCESS = 2;
constexpr unsigned WRITE_ACCESS = 4;

/// Sharing flag of a stream: other processes may read and write the file while it is open.
constexpr int SHARE_READ_WRITE = 0x40;

constexpr fl::filesystem::rename_options PLAIN_RENAME{};

/// The target must not exist.
constexpr fl::filesystem::copy_option PLAIN_COPY{};

} // namespace connector::file::v1
