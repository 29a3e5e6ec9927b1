#pragma once

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace connector::test {

struct Finished {
  int status; // of the exit; 128 and more for a signal
  std::string output;
};

/// Runs a shell's command to its end.
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

} // namespace connector::test
