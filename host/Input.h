#pragma once

#include <cstddef>

namespace connector::host {

/// A source of bytes.
class Input {
public:
  Input() = default;
  virtual ~Input() = default;
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// Waits for bytes and returns their number, which is 0 at the end of the input.
  virtual std::size_t read(char* buffer, std::size_t size) = 0;

  /// Whether no further request may be begun. The input ends then.
  [[nodiscard]] virtual bool stopped() const = 0;
};

} // namespace connector::host
