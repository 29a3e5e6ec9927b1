#include "support/JsonText.h"
#include "support/ScratchFolder.h"
#include "support/Shell.h"

#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <Poco/StringTokenizer.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace connector::test {

namespace {

/// In one layout, without what differs from one run, file system or parser to the next.
std::string comparable(const std::string& json) {
  using Poco::RegularExpression;
  std::string text = textOf(parseObject(json));
  const auto blur = [&text](const std::string& pattern, const std::string& value) {
    RegularExpression(pattern).subst(text, value, RegularExpression::RE_GLOBAL);
  };
  blur(R"("modified":[1-9]\d*)", R"("modified":1)");
  blur(R"rx(("isDirectory":true[^}]*"size":)\d+)rx", "$1-1");
  blur(R"("Parse error: [^"]*")", R"("Parse error: ...")");
  return text;
}

std::vector<std::string> linesOf(const std::string& text) {
  const Poco::StringTokenizer lines(text, "\n", Poco::StringTokenizer::TOK_IGNORE_EMPTY);
  return {lines.begin(), lines.end()};
}

class Documentation : public ScratchFolder {
protected:
  /// A file of the project, about the scratch folder in place of its own.
  [[nodiscard]] std::string page(const std::string& name) const {
    std::ifstream file(SOURCE_DIRECTORY "/" + name);
    std::string text(std::istreambuf_iterator<char>(file), {});
    for (const std::string directory : {"/srv/files", "/tmp/tmp.Wq3vXkL0aF"}) {
      Poco::replaceInPlace(text, directory, folder().string());
    }
    return text;
  }

  std::vector<std::string> answersTo(const std::string& requests) {
    writeFile("requests", requests);
    const auto host =
        runShell("cd " + folder().string() + " && " CONNECTOR_HOST_PROGRAM " < requests");
    EXPECT_EQ(host.status, 0) << "a sanitizer reports a leak";
    std::vector<std::string> answers;
    for (const auto& answer : linesOf(host.output)) {
      answers.push_back(comparable(answer));
    }
    return answers;
  }
};

} // namespace

TEST_F(Documentation, TourPrintsWhatItsPageShows) {
  std::vector<std::string> shown;
  for (const auto& line : linesOf(page("examples/README.md"))) {
    if (line.rfind(R"(    {"jsonrpc":"2.0","id":")", 0) == 0) {
      shown.push_back(comparable(line));
    }
  }
  EXPECT_FALSE(shown.empty());
  EXPECT_EQ(answersTo(page("examples/tour.ndjson")), shown);
}

TEST_F(Documentation, ExamplesOfTheWireFormatGoAsWritten) {
  std::string requests;
  std::vector<std::string> shown;
  std::string example;
  bool inside = false;
  for (const auto& line : linesOf(page("docs/wire-format.md"))) {
    if (line.rfind("```", 0) != 0) {
      example += inside ? line : "";
      continue;
    }
    inside = line == "```json";
    if (example.find(R"("method")") != std::string::npos) {
      requests += example + '\n';
    } else if (!example.empty()) {
      shown.push_back(comparable(example));
    }
    example.clear();
  }
  EXPECT_EQ(answersTo(requests), shown);

  auto types = linesOf(runShell(CONNECTOR_HOST_PROGRAM " types").output);
  types.emplace_back("connector/v1/OpenWithBrowser");
  for (const auto& type : types) {
    EXPECT_THAT(requests, testing::HasSubstr('"' + type + '"')) << "has no example";
  }
}

} // namespace connector::test
