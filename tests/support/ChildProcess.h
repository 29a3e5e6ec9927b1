#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace connector::test {

/// Runs `body` in a forked child, which prints its own failures. The current test fails, or is
/// skipped, as the child is.
inline void inChildProcess(const std::function<void()>& body) {
  enum Ending { passed, failed, skipped };

  std::fflush(nullptr); // or the child would print it once more
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (child == 0) {
    try {
      body();
    } catch (const std::exception& error) {
      ADD_FAILURE() << "exception in the child process: " << error.what();
    }
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? failed : ::testing::Test::IsSkipped() ? skipped : passed);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == skipped) {
    GTEST_SKIP() << "skipped in the child process";
  }
  EXPECT_EQ(status, 0) << "the child process failed";
}

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

/// Runs `body` in a child process, which sees a fresh tmpfs on the existing directory `where`.
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
