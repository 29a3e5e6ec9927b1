#include <connector/file_common/v1/DataBuffer.h>

#include <cstring>
#include <new>
#include <utility>

namespace connector::file_common::v1 {

namespace {

DataBuffer::Memory copyOf(std::string_view bytes) {
  if (bytes.empty()) {
    return nullptr;
  }
  DataBuffer::Memory memory(static_cast<char*>(std::malloc(bytes.size())));
  if (!memory) {
    throw std::bad_alloc();
  }
  std::memcpy(memory.get(), bytes.data(), bytes.size());
  return memory;
}

} // namespace

DataBuffer::DataBuffer(Memory memory, std::size_t size) noexcept
    : memory_(std::move(memory))
    , size_(size) {}

DataBuffer::DataBuffer(std::string_view bytes)
    : DataBuffer(copyOf(bytes), bytes.size()) {}

DataBuffer::DataBuffer(const DataBuffer& other)
    : DataBuffer(other.view()) {}

DataBuffer& DataBuffer::operator=(const DataBuffer& other) {
  if (this != &other) {
    *this = DataBuffer(other);
  }
  return *this;
}

DataBuffer::DataBuffer(DataBuffer&& other) noexcept
    : DataBuffer(std::move(other.memory_), std::exchange(other.size_, 0)) {}

DataBuffer& DataBuffer::operator=(DataBuffer&& other) noexcept {
  memory_ = std::move(other.memory_);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

} // namespace connector::file_common::v1
