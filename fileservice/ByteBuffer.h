#pragma once

#include <connector/file_common/v1/DataBuffer.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace connector::file::v1 {

/// A block of memory that grows while a file is read into it and then becomes the DataBuffer's.
class ByteBuffer {
public:
  /// Throws std::runtime_error("Out of memory!"), as everything here that allocates. Even an empty
  /// buffer holds a block.
  explicit ByteBuffer(std::size_t expected) {
    if (expected > 0) {
      allocate(expected);
    }
    if (capacity_ < SMALLEST) {
      grow(SMALLEST);
    }
  }

  [[nodiscard]] char* data() noexcept { return memory_.get(); }

  /// The first `count` bytes have been filled.
  void setSize(std::size_t count) {
    if (count > capacity_) {
      grow(count);
    }
    size_ = count;
  }

  /// The contents, without a copy; nothing is left here.
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
    static_cast<void>(memory_.release()); // moved by realloc
    memory_.reset(static_cast<char*>(block));
    capacity_ = capacity;
  }

  file_common::v1::DataBuffer::Memory memory_;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

} // namespace connector::file::v1
