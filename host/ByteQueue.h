#pragma once

#include "Streams.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <utility>

namespace connector::host {

/// FIFO byte buffer. It uses mmap so that growing remaps pages instead of copying them: with
/// realloc the host needs 132 MB instead of 72 MB at its peak for a message of 60 MB, in the same
/// time. It uses huge pages for a long message and lets the kernel reclaim its memory instead of
/// returning it: otherwise a CreateFile of 20 MB takes 1.5 times as long (bench/compare).
class ByteQueue {
public:
  ByteQueue() = default;
  ByteQueue(const ByteQueue&) = delete;
  ByteQueue& operator=(const ByteQueue&) = delete;

  ~ByteQueue() { resize(0); }

  /// Valid until the next `reserve`, even after `drop` and `clear`.
  [[nodiscard]] std::string_view view() const { return {memory_ + begin_, end_ - begin_}; }

  [[nodiscard]] bool empty() const { return begin_ == end_; }

  /// Returns the address and number of the free bytes after the last byte, at least `size`. The
  /// caller fills some of them and passes their number to `add`. Throws std::bad_alloc.
  std::pair<char*, std::size_t> reserve(std::size_t size) {
    if (begin_ > 0) {
      std::memmove(memory_, memory_ + begin_, end_ - begin_);
      end_ -= std::exchange(begin_, 0);
    }
    if (mostUsed_ > KEPT && end_ + size + Text::PADDING <= KEPT) {
      allowReclaim();
    }
    if (end_ + size + Text::PADDING > capacity_) {
      resize(std::max(2 * capacity_, end_ + size + Text::PADDING));
    }
    return {memory_ + end_, capacity_ - Text::PADDING - end_};
  }

  void add(std::size_t count) {
    end_ += count;
    mostUsed_ = std::max(mostUsed_, end_);
  }

  void drop(std::size_t count) { begin_ += count; }

  void clear() { begin_ = end_ = 0; }

private:
  static constexpr std::size_t KEPT = 1024UL * 1024; // bytes that are never reclaimed

  /// Lets the kernel reclaim the memory of a long text. Until it does, the next long text uses it
  /// again without page faults.
  void allowReclaim() {
    madvise(memory_ + KEPT, capacity_ - KEPT, MADV_FREE);
    mostUsed_ = end_;
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
      madvise(memory_, capacity_, MADV_HUGEPAGE); // fewer page faults
    }
  }

  char* memory_ = nullptr;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t capacity_ = 0;
  std::size_t mostUsed_ = 0; // since the last allowReclaim
};

} // namespace connector::host
