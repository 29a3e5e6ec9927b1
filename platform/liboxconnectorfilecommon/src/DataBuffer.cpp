#include "Bytes.h"

#include <algorithm>
#include <new>
#include <utility>

namespace connector::file_common::v1 {

DataBuffer::Memory allocate(std::size_t size) {
  if (size == 0) {
    return nullptr;
  }
  DataBuffer::Memory memory(static_cast<char*>(std::malloc(size))); // NOLINT(*-no-malloc)
  if (!memory) {
    throw std::bad_alloc();
  }
  return memory;
}

DataBuffer copyOf(std::string_view bytes) {
  DataBuffer::Memory memory = allocate(bytes.size());
  std::copy(bytes.begin(), bytes.end(), memory.get());
  return {std::move(memory), bytes.size()};
}

DataBuffer::DataBuffer(Memory memory, std::size_t size) noexcept
    : memory_(std::move(memory))
    , size_(size) {}

DataBuffer::DataBuffer(const DataBuffer& other)
    : DataBuffer(copyOf(viewOf(other))) {}

DataBuffer& DataBuffer::operator=(const DataBuffer& other) {
  return *this = DataBuffer(other);
}

DataBuffer::DataBuffer(DataBuffer&& other) noexcept
    : DataBuffer(std::move(other.memory_), std::exchange(other.size_, 0)) {}

DataBuffer& DataBuffer::operator=(DataBuffer&& other) noexcept {
  memory_ = std::move(other.memory_);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

} // namespace connector::file_common::v1
