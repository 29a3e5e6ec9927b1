#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <linux/landlock.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace connector::test {

struct Finished {
  int status; // of the exit, or 128 plus the number of a signal
  std::string output;
};

/// Runs a shell command to its end.
inline Finished runShell(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "r"); // NOLINT(cert-env33-c): redirects easily
  std::string output;
  std::array<char, 4096> block{};
  while (const auto count = std::fread(block.data(), 1, block.size(), pipe)) {
    output.append(block.data(), count);
  }
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output};
}

/// Whether a sanitizer makes this build, and thus the host, too slow and too big for any limit.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZED = true;
#elif defined(__has_feature)
constexpr bool SANITIZED = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool SANITIZED = false;
#endif

/// Returns whether strace can make system calls fail here. It may be missing, too old or not
/// permitted.
inline bool canInject() {
  return runShell("strace -o /dev/null -e inject=sync:error=EIO:when=1..2 true 2> /dev/null")
             .status == 0;
}

/// Returns whether the kernel can confine a host. Hosts that are started afterwards do not search
/// for leaks, because the confinement prevents it.
inline bool canConfine() {
  setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
  return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) >= 2;
}

/// Returns the number of open descriptors of this process, including one for counting.
inline int openDescriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return static_cast<int>(std::distance(begin(open), end(open)));
}

} // namespace connector::test
