#pragma once

#include <connector/file_common/v1/DataBuffer.h>

#include <cstddef>
#include <string_view>

namespace connector::file_common::v1 {

/// Returns uninitialized memory for a DataBuffer, null for size 0. Throws std::bad_alloc.
DataBuffer::Memory allocate(std::size_t size);

DataBuffer copyOf(std::string_view bytes);

inline std::string_view viewOf(const DataBuffer& buffer) {
  return {buffer.data(), buffer.size()};
}

} // namespace connector::file_common::v1
