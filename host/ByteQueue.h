#pragma once

#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <utility>

namespace connector::host {

/// Bytes that are added behind and taken in front. Its memory comes from the system and not from
/// malloc: when a long text makes it grow, pages are moved and not bytes, and it never holds both.
class ByteQueue {
public:
  ByteQueue() = default;
  ByteQueue(const ByteQueue&) = delete;
  ByteQueue& operator=(const ByteQueue&) = delete;

  ~ByteQueue() { resize(0); }

  /// Stays valid, also where bytes were dropped from it, until more room is made.
  [[nodiscard]] std::string_view view() const { return {memory_ + begin_, end_ - begin_}; }

  [[nodiscard]] bool empty() const { return begin_ == end_; }

  /// Room for at least `size` bytes behind the last one, and how much it is; `add` then says how
  /// many were put there. Throws std::bad_alloc.
  std::pair<char*, std::size_t> room(std::size_t size) {
    if (begin_ > 0) {
      std::memmove(memory_, memory_ + begin_, end_ - begin_);
      end_ -= std::exchange(begin_, 0);
    }
    if (most_ > KEPT && end_ + size + Text::PADDING <= KEPT) {
      lend();
    }
    if (end_ + size + Text::PADDING > capacity_) {
      resize(std::max(2 * capacity_, end_ + size + Text::PADDING));
    }
    return {memory_ + end_, capacity_ - Text::PADDING - end_};
  }

  void add(std::size_t count) {
    end_ += count;
    most_ = std::max(most_, end_);
  }

  void drop(std::size_t count) { begin_ += count; }

  void clear() { begin_ = end_ = 0; }

private:
  static constexpr std::size_t KEPT = 1024UL * 1024;

  /// What a long text took, the system may have when it is short of memory. Until then it is at
  /// hand for the next one, which is often as long.
  void lend() {
    madvise(memory_ + KEPT, capacity_ - KEPT, MADV_FREE);
    most_ = end_;
  }

  void resize(std::size_t capacity) {
    constexpr int access = PROT_READ | PROT_WRITE;
    void* moved = nullptr;
    if (capacity == 0) {
      clear();
      munmap(memory_, capacity_);
    } else if (capacity_ == 0) {
      moved = mmap(nullptr, capacity, access, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    } else {
      moved = mremap(memory_, capacity_, capacity, MREMAP_MAYMOVE);
    }
    if (moved == MAP_FAILED) {
      throw std::bad_alloc();
    }
    memory_ = static_cast<char*>(moved);
    capacity_ = capacity;
    if (capacity > KEPT) {
      madvise(memory_, capacity_, MADV_HUGEPAGE); // fewer faults on the way through a long text
    }
  }

  char* memory_ = nullptr;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t capacity_ = 0;
  std::size_t most_ = 0; // that it held since it lent any
};

} // namespace connector::host
