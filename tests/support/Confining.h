#pragma once

#include <cstdlib>
#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace connector::test {

/// Whether the kernel can confine a host. Then hosts look for no leaks from now on: that needs what
/// the confinement takes from them.
inline bool canConfine() {
  setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
  return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) >= 2;
}

} // namespace connector::test
