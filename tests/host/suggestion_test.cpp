#include "host/Suggestion.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace connector::host {

TEST(Suggestion, IsTheNearestNameThatIsNear) {
  const std::vector<std::string> names{"a/v1/Open", "a/v1/OpenAll", "a/v1/Move"};
  const std::vector<std::pair<std::string, std::string>> rows{{"a/v1/OpenAl", "a/v1/OpenAll"},
                                                              {"a/v1/Opne", "a/v1/Open"},
                                                              {"openall", "a/v1/OpenAll"},
                                                              {"a/v2/pen", "a/v1/Open"},
                                                              {"Mov", "a/v1/Move"},
                                                              {"Moving", ""},
                                                              {"a/v1/", ""},
                                                              {std::string(1000000, 'e'), ""}};
  for (const auto& [text, name] : rows) {
    EXPECT_EQ(suggestion(text, names), name.empty() ? "" : "; did you mean " + name + "?")
        << text.substr(0, 100);
  }
}

} // namespace connector::host
