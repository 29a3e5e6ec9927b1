#pragma once

#include <fcntl.h>
#include <filesystem>
#include <set>
#include <string>

namespace connector::test {

/// The descriptors that this process holds open. Compared before and after, it shows a leak.
inline std::set<int> openDescriptors() {
  std::set<int> numbers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    numbers.insert(std::stoi(entry.path().filename().string()));
  }
  // The walk's own descriptor is among them and closed by now.
  for (auto number = numbers.begin(); number != numbers.end();) {
    number = ::fcntl(*number, F_GETFD) < 0 ? numbers.erase(number) : std::next(number);
  }
  return numbers;
}

} // namespace connector::test
