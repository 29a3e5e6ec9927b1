#pragma once

#include <connector/file_common/v1/DataBuffer.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace connector::file::v1 {

/// Memory into which a file is read, and which is then handed to a DataBuffer without a copy.
class ByteBuffer {
public:
  /// Allocates `capacity` bytes, but at least 8. Throws std::runtime_error("Out of memory!"), as
  /// does every function here that allocates.
  explicit ByteBuffer(std::size_t capacity) {
    if (capacity > 0) {
      allocate(capacity);
    }
    if (capacity_ < SMALLEST) {
      grow(SMALLEST);
    }
  }

  [[nodiscard]] char* data() noexcept { return memory_.get(); }

  /// Sets the number of bytes that have been read. Grows the memory if it is smaller.
  void setSize(std::size_t count) {
    if (count > capacity_) {
      grow(count);
    }
    size_ = count;
  }

  /// Returns the bytes that have been read and leaves the buffer empty.
  [[nodiscard]] file_common::v1::DataBuffer release() && noexcept {
    capacity_ = 0;
    return {std::move(memory_), std::exchange(size_, 0)};
  }

private:
  static constexpr std::size_t SMALLEST = 8;

  void grow(std::size_t needed) { allocate(std::max(2 * capacity_, needed)); }

  void allocate(std::size_t capacity) {
    void* const block = std::realloc(memory_.get(), capacity); // NOLINT(*-no-malloc)
    if (block == nullptr) {
      throw std::runtime_error("Out of memory!");
    }
    static_cast<void>(memory_.release()); // freed or reused by realloc
    memory_.reset(static_cast<char*>(block));
    capacity_ = capacity;
  }

  file_common::v1::DataBuffer::Memory memory_;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

} // namespace connector::file::v1
