#pragma once

#include "support/ChildProcess.h"

#include <cerrno>
#include <functional>
#include <grp.h>
#include <system_error>
#include <unistd.h>

namespace connector::test {

/// Runs `body` as a user whom permission bits bind: in a child process as the user 65534 when this
/// is root, directly otherwise.
inline void asUnprivilegedUser(const std::function<void()>& body) {
  if (geteuid() != 0) {
    body();
    return;
  }
  inChildProcess([&body] {
    constexpr unsigned nobody = 65534;
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) {
      throw std::system_error(errno, std::generic_category(), "dropping privileges");
    }
    body();
  });
}

} // namespace connector::test
