#pragma once

#include <iostream>
#include <string>

namespace connector::test {

/// A figure to be quoted, in a line that is found by its first word.
inline void printMeasured(const std::string& figure) {
  std::cout << "measured: " << figure << std::endl;
}

} // namespace connector::test
