#include "host/Options.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace connector::host {

using Arguments = std::vector<std::string>;
using Command = Options::Command;

TEST(Options, CommandsAreFound) {
  const std::vector<std::pair<Arguments, Command>> rows{
      {{}, Command::serve},
      {{"serve"}, Command::serve},
      {{"call", "OpenFile", "-", "--max-message=1"}, Command::call},
      {{"--help", "nonsense"}, Command::help},
      {{"serve", "--version"}, Command::version},
  };
  for (const auto& [arguments, command] : rows) {
    EXPECT_EQ(parseOptions(arguments).command, command) << testing::PrintToString(arguments);
  }
}

TEST(Options, CallTakesTypeAndMessage) {
  EXPECT_EQ(parseOptions({"call", "A"}).json, "{}");
  const auto options = parseOptions({"call", "--max-message", "10", "A", R"({"a":"--b"})"});
  EXPECT_EQ(options.type, "A");
  EXPECT_EQ(options.json, R"({"a":"--b"})");
  EXPECT_EQ(options.maxMessage, 10);
}

TEST(Options, WrongUsageIsRefused) {
  const std::vector<Arguments> rows{
      {"nonsense"},
      {"serve", "more"},
      {"call"},
      {"call", "A", "{}", "more"},
      {"--nonsense"},
      {"--max-message"},
      {"--max-message", "0"},
      {"--max-message", "-1"},
      {"--max-message", "1k"},
      {"--max-message", "18446744073709551616"},
  };
  for (const auto& arguments : rows) {
    EXPECT_THROW(parseOptions(arguments), UsageError) << testing::PrintToString(arguments);
  }
}

} // namespace connector::host
