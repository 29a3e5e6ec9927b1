#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace connector::host {

/// A source of bytes.
class Input {
public:
  virtual ~Input() = default;

  /// Waits for bytes and returns their number, which is 0 at the end of the input.
  virtual std::size_t read(char* buffer, std::size_t size) = 0;

  /// Whether the input was stopped. Then `read` returns 0, and no further request may begin.
  [[nodiscard]] virtual bool stopped() const = 0;
};

/// One text of the input, without leading byte order marks and the delimiters of its frame.
class Text {
public:
  /// The number of readable bytes after a text; their values are undefined.
  static constexpr std::size_t PADDING = 64;

  /// Refers to a padded text, which the caller must keep alive. Copies any other text.
  explicit Text(std::string_view text, bool isPadded = false) {
    if (!isPadded) {
      copy_ = std::make_shared<std::string>();
      copy_->reserve(text.size() + PADDING);
      copy_->append(text).append(PADDING, '\0'); // zeros, for checkers of memory
      text = std::string_view(*copy_).substr(0, text.size());
    }
    // Only some versions of the JSON parser skip a byte order mark.
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    while (text.substr(0, mark.size()) == mark) {
      text.remove_prefix(mark.size());
    }
    bytes_ = text;
  }

  [[nodiscard]] std::string_view bytes() const { return bytes_; }

private:
  std::shared_ptr<std::string> copy_;
  std::string_view bytes_;
};

/// A destination of bytes. It buffers them, so that many small pieces become few large ones.
class Output {
public:
  /// `drain` writes bytes, which are valid only during the call.
  Output(std::size_t bufferSize, std::function<void(std::string_view)> drain)
      : buffer_(bufferSize)
      , drain_(std::move(drain)) {}

  ~Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void append(std::string_view bytes) {
    if (bytes.size() > buffer_.size() - size_) {
      flush();
    }
    if (bytes.size() > buffer_.size()) {
      drain_(bytes);
      return;
    }
    std::memcpy(buffer_.data() + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
  }

  void append(char byte) { append(std::string_view(&byte, 1)); }

  /// Writes out all buffered bytes.
  void flush() {
    drain_({buffer_.data(), size_});
    size_ = 0;
  }

private:
  std::vector<char> buffer_; // on the heap, so that running out of memory throws
  std::size_t size_ = 0;
  std::function<void(std::string_view)> drain_;
};

} // namespace connector::host
