#pragma once

#include <cerrno>
#include <cstddef>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fl::filesystem::detail {

/// For short: `stat` is also a function.
using stat_buffer = struct stat;

/// Owns an open descriptor. Whoever needs to know whether closing failed releases it first.
class descriptor {
public:
  explicit descriptor(int number) noexcept
      : number_(number) {}

  descriptor(const descriptor&) = delete;
  descriptor& operator=(const descriptor&) = delete;

  ~descriptor() {
    if (is_open()) {
      ::close(number_);
    }
  }

  [[nodiscard]] bool is_open() const noexcept { return number_ >= 0; }

  [[nodiscard]] int get() const noexcept { return number_; }

  [[nodiscard]] int release() noexcept { return std::exchange(number_, -1); }

private:
  int number_;
};

/// The result of a system call that is made again as long as a signal interrupts it.
template <typename Call>
auto uninterrupted(const Call& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) {
    result = call();
  }
  return result;
}

/// Whether an errno says that nothing is at a path.
inline bool means_missing(int code) {
  return code == ENOENT || code == ENOTDIR;
}

/// Writes until everything is written or the system refuses; gives how much was written.
inline std::size_t write_all(int target, const char* data, std::size_t count) {
  std::size_t written = 0;
  while (written < count) {
    const ssize_t more =
        uninterrupted([&] { return ::write(target, data + written, count - written); });
    if (more <= 0) {
      break;
    }
    written += static_cast<std::size_t>(more);
  }
  return written;
}

} // namespace fl::filesystem::detail
