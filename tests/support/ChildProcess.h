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

/// Runs `body` in a forked child. If it fails or is skipped there, so is the current test.
inline void inChildProcess(const std::function<void()>& body) {
  enum Ending { passed, failed, skipped };

  std::fflush(nullptr); // so that the child does not print buffered output again
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

/// Runs `body` in a child process of an ordinary user, which is the user 65534 instead of root.
inline void asUnprivilegedUser(const std::function<void()>& body) {
  inChildProcess([&body] {
    constexpr unsigned nobody = 65534;
    if (geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) {
      throw std::system_error(errno, std::generic_category(), "dropping privileges");
    }
    body();
  });
}

namespace detail {

/// Enters a new mount namespace, together with a new user namespace if this process is not root's.
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

/// Runs `body` in a child process with a new tmpfs on the directory `where`. `options` are those of
/// tmpfs, such as "size=64k,nr_inodes=4". Skips the test if the kernel does not allow the mount.
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
