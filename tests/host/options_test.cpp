#include "host/Options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace connector::host {

TEST(Options, CallTakesTypeAndMessage) {
  const auto options = parseOptions({"call", "--max-message", "10", "A", R"({"a":"--b"})"});
  EXPECT_EQ(options.type, "A");
  EXPECT_EQ(options.json, R"({"a":"--b"})");
  EXPECT_EQ(options.maxMessage, 10);
}

TEST(Options, WrongUsageIsRefused) {
  const std::vector<std::vector<std::string>> rows{{"nonsense"},
                                                   {"serve", "more"},
                                                   {"call", "A", "{}", "more"},
                                                   {"--max-message", "0"},
                                                   {"--max-message", "1k"}};
  for (const auto& arguments : rows) {
    EXPECT_THROW(parseOptions(arguments), UsageError) << testing::PrintToString(arguments);
  }
}

} // namespace connector::host
