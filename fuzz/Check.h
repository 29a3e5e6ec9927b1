#pragma once

#include <cstdio>
#include <cstdlib>

namespace connector::fuzz {

/// Ends the process, which is how a fuzzer learns of a fault.
inline void require(bool holds, const char* property) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
  }
}

} // namespace connector::fuzz
