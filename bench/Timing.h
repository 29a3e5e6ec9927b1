#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace connector::bench {

/// Returns the duration in seconds.
template <typename Work>
double timeOf(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

} // namespace connector::bench
