#pragma once

#include "support/Shell.h"

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace connector::test {

/// Whether this build, and so the host, is slower and bigger than any limit allows for.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZED = true;
#elif defined(__has_feature)
constexpr bool SANITIZED = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool SANITIZED = false;
#endif

/// Whether strace can make system calls fail here: it may be missing, too old or not permitted.
inline bool canInject() {
  return runShell("strace -o /dev/null -e inject=sync:error=EIO:when=1..2 true 2> /dev/null")
             .status == 0;
}

/// Whether the kernel can confine a host. From then on hosts do not search for leaks, which the
/// confinement prevents.
inline bool canConfine() {
  setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
  return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) >= 2;
}

/// The number of descriptors that this process holds open, one of them for counting.
inline int openDescriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return static_cast<int>(std::distance(begin(open), end(open)));
}

} // namespace connector::test
