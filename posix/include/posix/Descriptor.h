#pragma once

#include <cerrno>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace connector::posix {

/// Owns a file descriptor; a negative number means none. The destructor ignores errors and keeps
/// errno; to check for errors, pass the result of `release` to `::close`.
class Descriptor {
public:
  explicit Descriptor(int number) noexcept
      : number_(number) {}

  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  Descriptor(Descriptor&& other) noexcept
      : number_(other.release()) {}

  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  ~Descriptor() {
    if (isOpen()) {
      const int code = errno;
      ::close(number_);
      errno = code;
    }
  }

  [[nodiscard]] bool isOpen() const noexcept { return number_ >= 0; }

  [[nodiscard]] int get() const noexcept { return number_; }

  [[nodiscard]] int release() noexcept { return std::exchange(number_, -1); }

private:
  int number_;
};

/// Returns the result of a system call. Throws std::system_error if it failed; `subject` precedes
/// the text of the error.
inline int check(long result, const std::string& subject) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), subject);
  }
  return static_cast<int>(result);
}

/// Repeats a system call while it fails with EINTR, and returns its result.
template <typename Call>
auto uninterrupted(const Call& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) {
    result = call();
  }
  return result;
}

} // namespace connector::posix
