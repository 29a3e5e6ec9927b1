#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <functional>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace connector::test {

/// Runs `body` in a forked child, which prints its own failures. The current test fails, or is
/// skipped, as the child is.
inline void inChildProcess(const std::function<void()>& body) {
  enum Ending { PASSED, FAILED, SKIPPED };

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
    _exit(::testing::Test::HasFailure() ? FAILED : ::testing::Test::IsSkipped() ? SKIPPED : PASSED);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == SKIPPED) {
    GTEST_SKIP() << "skipped in the child process";
  }
  EXPECT_EQ(status, 0) << "the child process failed";
}

} // namespace connector::test
