#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

namespace connector::host {

/// A destination of bytes. It buffers them, so that many small pieces become few large ones.
class Output {
public:
  virtual ~Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void append(std::string_view bytes) {
    if (bytes.size() > buffer_.size() - size_) {
      flush();
    }
    if (bytes.size() > buffer_.size()) {
      drain(bytes);
      return;
    }
    std::memcpy(buffer_.data() + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
  }

  void append(char byte) { append(std::string_view(&byte, 1)); }

  /// Writes out all buffered bytes.
  void flush() {
    drain({buffer_.data(), size_});
    size_ = 0;
  }

protected:
  explicit Output(std::size_t bufferSize)
      : buffer_(bufferSize) {}

  /// Writes `bytes`, which are not kept.
  virtual void drain(std::string_view bytes) = 0;

private:
  std::vector<char> buffer_; // on the heap, so that running out of memory throws
  std::size_t size_ = 0;
};

} // namespace connector::host
