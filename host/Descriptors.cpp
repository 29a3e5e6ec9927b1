#include "Descriptors.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace connector::host {

namespace {

// Used by the signal handler.
int endedInput = -1;
int nullDevice = -1;
std::atomic<bool> requested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may write it");

constexpr std::array TERMINATION_SIGNALS{SIGTERM, SIGINT};

extern "C" void requestTermination(int) {
  const auto before = errno;
  requested = true;
  for (const int next : TERMINATION_SIGNALS) {
    static_cast<void>(std::signal(next, SIG_DFL));
  }
  dup2(nullDevice, endedInput);
  errno = before;
}

void setAction(int signal, void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  posix::check(sigaction(signal, &action, nullptr), "sigaction");
}

/// Whether the call that set errno may be repeated.
bool isTemporary() {
  return errno == EINTR || errno == EAGAIN;
}

/// Polls for a moment before the process sleeps: the next request usually arrives within
/// microseconds, and being woken takes longer than many requests. Without this, the round trip of a
/// CloseFile takes 1.7 times as long if client and host run on two cores (median of 4,000); on one
/// core there is no difference.
bool arrivesSoon(pollfd& input) {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + std::chrono::microseconds(50);
  int ready = 0;
  while ((ready = poll(&input, 1, 0)) == 0 && steady_clock::now() < end) {
    std::this_thread::yield();
  }
  return ready > 0;
}

} // namespace

Termination::Termination(int input) {
  endedInput = input;
  nullDevice = posix::check(open("/dev/null", O_RDWR | O_CLOEXEC), "/dev/null");
  // SA_RESTART: an interrupted file operation continues.
  for (const int signal : TERMINATION_SIGNALS) {
    setAction(signal, requestTermination, SA_RESTART);
  }
  // A failed write reports the same conditions.
  setAction(SIGPIPE, SIG_IGN, 0);
  setAction(SIGXFSZ, SIG_IGN, 0);
}

// Not static, because only an object installs the handlers.
bool Termination::isRequested() const { // NOLINT(readability-convert-member-functions-to-static)
  return requested;
}

DescriptorInput::DescriptorInput(int descriptor, const Termination& termination, int output)
    : descriptor_(descriptor)
    , output_(output)
    , termination_(termination)
    , wakeUp_(posix::check(eventfd(0, EFD_CLOEXEC), "eventfd")) {}

/// Returns false once the input is stopped, or if nobody reads from the output.
bool DescriptorInput::awaitInput() {
  pollfd input{descriptor_, POLLIN, 0};
  if (arrivesSoon(input)) {
    return true;
  }
  std::array waited{input, pollfd{output_, 0, 0}, pollfd{wakeUp_.get(), POLLIN, 0}};
  posix::check(posix::uninterrupted([&] { return poll(waited.data(), waited.size(), -1); }),
               "poll");
  return (waited[1].revents & (POLLERR | POLLHUP)) == 0 && waited[2].revents == 0;
}

std::size_t DescriptorInput::read(char* buffer, std::size_t size) {
  while (!stopped() && awaitInput()) {
    const auto count = ::read(descriptor_, buffer, size);
    if (count >= 0) {
      return static_cast<std::size_t>(count);
    }
    if (errno == ECONNRESET) {
      return 0; // a socket whose other end is closed
    }
    if (!isTemporary()) {
      posix::check(count, "read");
    }
  }
  return 0;
}

bool DescriptorInput::stopped() const {
  return isStopped_ || termination_.isRequested();
}

void DescriptorInput::stop() {
  isStopped_ = true;
  eventfd_write(wakeUp_.get(), 1);
}

void DescriptorOutput::write(std::string_view bytes) {
  while (open_ && !bytes.empty()) {
    const auto count = ::write(descriptor_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EPIPE || errno == ECONNRESET) {
      open_ = false;
    } else if (isTemporary()) {
      pollfd output{descriptor_, POLLOUT, 0};
      posix::check(posix::uninterrupted([&] { return poll(&output, 1, -1); }), "poll");
    } else {
      posix::check(count, "write");
    }
  }
}

void widenPipe(int descriptor) {
  constexpr int wanted = 256 * 1024; // bytes; the system limits the sum of a user's pipes
  const int size = fcntl(descriptor, F_GETPIPE_SZ);
  if (size > 0 && size < wanted) {
    static_cast<void>(fcntl(descriptor, F_SETPIPE_SZ, wanted)); // on failure, the size stays
  }
}

void reserveStandardDescriptors() {
  // Every open returns the lowest free number. Once it is above the standard ones, all are in use.
  int descriptor = 0;
  do {
    descriptor = posix::check(open("/dev/null", O_RDWR | O_CLOEXEC), "/dev/null");
  } while (descriptor <= STDERR_FILENO);
  close(descriptor);
}

} // namespace connector::host
