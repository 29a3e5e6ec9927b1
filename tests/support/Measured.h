#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace connector::test {

/// A figure to be quoted, in a line that is found by its first word, unless the test has failed.
inline void printMeasured(const std::string& figure) {
  if (!::testing::Test::HasFailure()) {
    std::cout << "measured: " << figure << std::endl;
  }
}

} // namespace connector::test
