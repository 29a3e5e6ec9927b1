#pragma once

#include "host/Streams.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

namespace connector::host {

/// Returns `bytes` in pieces of at most `piece`.
class MemoryInput : public Input {
public:
  MemoryInput(std::string bytes, std::size_t piece)
      : bytes_(std::move(bytes))
      , piece_(piece) {}

  std::size_t read(char* buffer, std::size_t size) override {
    const auto count = bytes_.copy(buffer, std::min(size, piece_), at_);
    at_ += count;
    return count;
  }

  [[nodiscard]] bool stopped() const override { return false; }

private:
  std::string bytes_;
  std::size_t piece_;
  std::size_t at_ = 0;
};

} // namespace connector::host
