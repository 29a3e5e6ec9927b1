#include "support/Measured.h"
#include "support/Sanitizer.h"
#include "support/Shell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace connector::test {

// All nine requests, so that a sanitizer sees them in one process; what leaks ends it with a
// status.
TEST(Tour, EndsWithoutALeak) {
  const auto tour = runShell(CONNECTOR_HOST_PROGRAM " < " SOURCE_FOLDER "/examples/tour.ndjson");
  EXPECT_EQ(tour.status, 0);
  const auto answers = std::count(tour.output.begin(), tour.output.end(), '\n');
  EXPECT_EQ(answers, 11);
  printMeasured("a tour of all nine requests with " + std::to_string(answers) +
                " answers, under sanitizers: " + (SANITIZED ? "yes" : "no"));
}

} // namespace connector::test
