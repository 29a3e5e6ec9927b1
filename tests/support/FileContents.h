#pragma once

#include <connector/file_common/v1/DataBuffer.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace connector::test {

inline file_common::v1::DataBuffer bufferOf(std::string_view bytes) {
  using Memory = file_common::v1::DataBuffer::Memory;
  Memory memory(static_cast<char*>(std::malloc(bytes.size() + 1))); // NOLINT(*-no-malloc)
  std::copy(bytes.begin(), bytes.end(), memory.get());
  return {std::move(memory), bytes.size()};
}

inline std::string_view bytesOf(const file_common::v1::DataBuffer& buffer) {
  return {buffer.data(), buffer.size()};
}

} // namespace connector::test
