#pragma once

#include <connector/file_common/v1/FileInfo.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

namespace connector::file_common::v1 {

/// An attribute's key, and where its value is.
template <typename T>
struct Attribute {
  using Value = T;

  const std::string& key;
  std::optional<T> FileInfo::Attributes::*value;
};

/// Each attribute once.
inline constexpr std::tuple ATTRIBUTES{
    Attribute<std::uint64_t>{FileAttributes::SIZE, &FileInfo::Attributes::size},
    Attribute<std::int64_t>{FileAttributes::MODIFIED, &FileInfo::Attributes::modified},
    Attribute<bool>{FileAttributes::CAN_WRITE, &FileInfo::Attributes::canWrite},
    Attribute<bool>{FileAttributes::DELETED, &FileInfo::Attributes::deleted},
    Attribute<bool>{FileAttributes::IS_SHARED, &FileInfo::Attributes::isShared},
};

} // namespace connector::file_common::v1
