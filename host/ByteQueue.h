#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace connector::host {

/// Bytes that are added behind and taken in front. Memory from realloc and not a std::string's: the
/// system then moves pages and not bytes when a long text makes it grow, and it never holds both.
class ByteQueue {
public:
  [[nodiscard]] std::string_view view() const { return {memory_.get() + begin_, end_ - begin_}; }

  [[nodiscard]] bool empty() const { return begin_ == end_; }

  /// Room for `size` bytes behind the last one; `add` then says how many were put there. Throws
  /// std::bad_alloc.
  char* room(std::size_t size) {
    if (begin_ > 0) {
      std::memmove(memory_.get(), memory_.get() + begin_, end_ - begin_);
      end_ -= begin_;
      begin_ = 0;
    }
    if (end_ + size > capacity_) {
      resize(std::max(2 * capacity_, end_ + size));
    }
    return memory_.get() + end_;
  }

  void add(std::size_t count) { end_ += count; }

  void drop(std::size_t count) {
    begin_ += count;
    if (empty() && capacity_ > KEPT_CAPACITY) {
      memory_.reset();
      capacity_ = begin_ = end_ = 0;
    }
  }

  void clear() { drop(end_ - begin_); }

private:
  struct Free {
    void operator()(char* memory) const { std::free(memory); } // NOLINT(*-no-malloc)
  };

  // What a long text took is given back, so that a host that waits is small.
  static constexpr std::size_t KEPT_CAPACITY = 1024UL * 1024;

  void resize(std::size_t capacity) {
    auto* const moved =
        static_cast<char*>(std::realloc(memory_.get(), capacity)); // NOLINT(*-no-malloc)
    if (moved == nullptr) {
      throw std::bad_alloc();
    }
    static_cast<void>(memory_.release());
    memory_.reset(moved);
    capacity_ = capacity;
  }

  std::unique_ptr<char, Free> memory_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t capacity_ = 0;
};

} // namespace connector::host
