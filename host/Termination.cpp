#include "Termination.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <posix/Descriptor.h>
#include <unistd.h>

namespace connector::host {

namespace {

// Read by the signal handler.
int endedInput = -1;
int nullDevice = -1;
std::atomic<bool> requested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may write it");

constexpr std::array TERMINATING{SIGTERM, SIGINT};

extern "C" void requestTermination(int) {
  const auto before = errno;
  requested = true;
  for (const int next : TERMINATING) {
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

} // namespace

Termination::Termination(int input) {
  endedInput = input;
  nullDevice = posix::check(open("/dev/null", O_RDWR | O_CLOEXEC), "/dev/null");
  // SA_RESTART: an interrupted file operation continues.
  for (const int signal : TERMINATING) {
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

} // namespace connector::host
