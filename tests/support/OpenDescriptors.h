#pragma once

#include <filesystem>
#include <iterator>

namespace connector::test {

/// How many descriptors this process holds open, always with one for the look itself.
inline int openDescriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return static_cast<int>(std::distance(begin(open), end(open)));
}

} // namespace connector::test
