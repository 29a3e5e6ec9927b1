#include "Descriptors.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace connector::host {

namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// Whether errno tells of something that passes by itself.
bool isTemporary() {
  return errno == EINTR || errno == EAGAIN;
}

void waitUntilReady(int descriptor, short event) {
  pollfd waited{descriptor, event, 0};
  if (poll(&waited, 1, -1) < 0 && !isTemporary()) {
    fail("poll");
  }
}

/// In a conversation the next request follows an answer within microseconds, and to sleep and be
/// woken would take longer than many a request itself. For that moment the core is left to whoever
/// wants it, but not given up.
void awaitShortly(int descriptor) {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + std::chrono::microseconds(50);
  pollfd input{descriptor, POLLIN, 0};
  while (poll(&input, 1, 0) == 0 && steady_clock::now() < end) {
    std::this_thread::yield();
  }
}

} // namespace

std::size_t DescriptorInput::read(char* buffer, std::size_t size) {
  const int descriptor = termination_.input();
  awaitShortly(descriptor);
  for (;;) {
    const auto count = ::read(descriptor, buffer, size);
    if (count >= 0) {
      return static_cast<std::size_t>(count);
    }
    if (!isTemporary()) {
      fail("read");
    }
    waitUntilReady(descriptor, POLLIN);
  }
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const auto count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EPIPE) {
      return false;
    } else if (isTemporary()) {
      waitUntilReady(descriptor, POLLOUT);
    } else {
      fail("write");
    }
  }
  return true;
}

void widenPipe(int descriptor) {
  constexpr int wanted = 256 * 1024; // bytes; all pipes of a user have a limit together
  const int size = fcntl(descriptor, F_GETPIPE_SZ);
  if (size > 0 && size < wanted) {
    static_cast<void>(fcntl(descriptor, F_SETPIPE_SZ, wanted)); // refused, it stays as it is
  }
}

void reserveStandardDescriptors() {
  // The system gives out the lowest free number, so once it is above these three, none is free.
  int descriptor = 0;
  while (descriptor <= STDERR_FILENO) {
    if ((descriptor = open("/dev/null", O_RDWR | O_CLOEXEC)) < 0) {
      fail("/dev/null");
    }
  }
  close(descriptor);
}

} // namespace connector::host
