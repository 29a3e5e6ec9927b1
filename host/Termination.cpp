#include "Termination.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace connector::host {

namespace {

volatile std::sig_atomic_t requested = -1; // the descriptor, where the handler finds it

extern "C" void requestTermination(int) {
  const auto before = errno;
  const std::uint64_t one = 1;
  // It cannot fail in a way that matters: a full counter is readable already.
  [[maybe_unused]] const auto written = write(requested, &one, sizeof one);
  errno = before;
}

void setAction(int signal, void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  if (sigaction(signal, &action, nullptr) != 0) {
    throw std::system_error(errno, std::generic_category(), "sigaction");
  }
}

} // namespace

Termination::Termination()
    : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  requested = descriptor_;
  // Calls of the file operations go on behind the handler; poll alone is always interrupted.
  for (const int signal : {SIGTERM, SIGINT}) {
    setAction(signal, requestTermination, static_cast<int>(SA_RESTART | SA_RESETHAND));
  }
  setAction(SIGPIPE, SIG_IGN, 0);
}

} // namespace connector::host
