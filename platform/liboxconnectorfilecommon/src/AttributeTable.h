#pragma once

#include <connector/file_common/v1/FileInfo.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

namespace connector::file_common::v1 {

struct AttributeAccess {
  using Attributes = FileInfo::Attributes;

  static const Attributes& of(const FileInfo& info) noexcept { return info.attributes_; }
};

/// The key of an attribute, and the member that holds its value.
template <typename T>
struct Attribute {
  const std::string& key;
  std::optional<T> AttributeAccess::Attributes::*value;
};

inline constexpr std::tuple ATTRIBUTES{
    Attribute<std::uint64_t>{FileAttributes::SIZE, &AttributeAccess::Attributes::size},
    Attribute<std::int64_t>{FileAttributes::MODIFIED, &AttributeAccess::Attributes::modified},
    Attribute<bool>{FileAttributes::CAN_WRITE, &AttributeAccess::Attributes::canWrite},
    Attribute<bool>{FileAttributes::DELETED, &AttributeAccess::Attributes::deleted},
    Attribute<bool>{FileAttributes::IS_SHARED, &AttributeAccess::Attributes::isShared},
};

} // namespace connector::file_common::v1
