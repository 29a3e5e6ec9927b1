#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

#pragma GCC visibility push(default)

namespace connector::file_common::v1 {

/// The contents of a file, in one block of memory from malloc.
class DataBuffer {
public:
  struct Free {
    void operator()(void* memory) const noexcept { std::free(memory); } // NOLINT(*-no-malloc)
  };

  using Memory = std::unique_ptr<char, Free>;

  DataBuffer() = default;

  /// Takes ownership of `memory`. Its first `size` bytes are the contents.
  DataBuffer(Memory memory, std::size_t size) noexcept;

  DataBuffer(const DataBuffer& other);
  DataBuffer& operator=(const DataBuffer& other);
  DataBuffer(DataBuffer&& other) noexcept;
  DataBuffer& operator=(DataBuffer&& other) noexcept;
  ~DataBuffer() = default;

  /// May be null if the size is 0.
  [[nodiscard]] const char* data() const noexcept { return memory_.get(); }

  [[nodiscard]] std::size_t size() const noexcept { return size_; }

private:
  Memory memory_;
  std::size_t size_ = 0;
};

} // namespace connector::file_common::v1

#pragma GCC visibility pop
