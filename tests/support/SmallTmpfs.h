#pragma once

#include "support/ChildProcess.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>

namespace connector::test {

namespace detail {

/// A mount namespace of our own: directly for root, by way of a user namespace for others.
inline bool enterOwnMountNamespace() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWNS) == 0) {
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  }
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
    return false;
  }
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
  std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
  return true;
}

} // namespace detail

/// Runs `body` in a child process that alone sees a fresh tmpfs on the existing folder `where`.
/// `options` are tmpfs's own, such as "size=64k" or "nr_inodes=4". Where the kernel allows no such
/// mount the test is skipped.
inline void onTmpfs(const std::filesystem::path& where, const std::string& options,
                    const std::function<void()>& body) {
  inChildProcess([&] {
    if (!detail::enterOwnMountNamespace() ||
        mount("tmpfs", where.c_str(), "tmpfs", 0, options.c_str()) != 0) {
      GTEST_SKIP() << "no tmpfs can be mounted here: " << std::generic_category().message(errno);
    }
    body();
  });
}

} // namespace connector::test
