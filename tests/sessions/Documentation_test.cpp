#include "support/Measured.h"
#include "support/Sanitizer.h"
#include "support/ScratchFolder.h"
#include "support/Shell.h"

#include <Poco/JSON/Parser.h>
#include <Poco/JSON/Stringifier.h>
#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace connector::test {

namespace {

/// Without what differs from one run, file system or parser to the next; JSON stays JSON.
std::string withoutChance(std::string line) {
  using Poco::RegularExpression;
  const RegularExpression modified(R"("modified":[1-9]\d*)");
  const RegularExpression folderSize(R"rx(("isDirectory":true[^}]*"size":)\d+)rx");
  modified.subst(line, R"("modified":1)", RegularExpression::RE_GLOBAL);
  const RegularExpression parserText(R"("Parse error: [^"]*")");
  parserText.subst(line, R"("Parse error: ...")");
  folderSize.subst(line, "$1-1", RegularExpression::RE_GLOBAL);
  return line;
}

std::vector<std::string> linesOf(const std::string& output) {
  std::vector<std::string> lines;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(withoutChance(line));
  }
  return lines;
}

std::vector<std::string> tourInReadme() {
  const std::string answer = R"(    {"jsonrpc":"2.0","id":")";
  std::vector<std::string> lines;
  std::ifstream readme(SOURCE_FOLDER "/README.md");
  for (std::string line; std::getline(readme, line);) {
    if (line.rfind(answer, 0) == 0) {
      lines.push_back(withoutChance(line.substr(4)));
    }
  }
  return lines;
}

/// The examples in a page, each in one line, about `folder` in place of the page's own.
std::vector<std::string> examplesIn(const std::string& page, const std::string& folder) {
  std::vector<std::string> examples;
  std::ifstream lines(page);
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("```", 0) == 0) {
      inside = line == "```json";
      examples.resize(examples.size() + (inside ? 1 : 0));
    } else if (inside) {
      examples.back() += Poco::replace(line, std::string("/srv/files"), folder);
    }
  }
  return examples;
}

std::string inOneLayout(const std::string& json) {
  std::ostringstream text;
  Poco::JSON::Stringifier::stringify(Poco::JSON::Parser().parse(json), text);
  return withoutChance(text.str());
}

} // namespace

// All nine requests, so that a sanitizer sees them in one process; what leaks ends it with a
// status.
TEST(Tour, PrintsWhatTheReadmeShowsAndEndsWithoutALeak) {
  const auto tour = runShell(CONNECTOR_HOST_PROGRAM " < " SOURCE_FOLDER "/examples/tour.ndjson");
  EXPECT_EQ(tour.status, 0);
  const auto shown = tourInReadme();
  EXPECT_EQ(shown.size(), 11U);
  EXPECT_EQ(linesOf(tour.output), shown);
  printMeasured("a tour of all nine requests with " + std::to_string(shown.size()) +
                " answers, under sanitizers: " + (SANITIZED ? "yes" : "no"));
}

using WireFormat = ScratchFolder;

TEST_F(WireFormat, ExamplesGoAsWritten) {
  std::string requests;
  std::vector<std::string> shown;
  for (const auto& example : examplesIn(SOURCE_FOLDER "/docs/wire-format.md", folder().string())) {
    if (example.find(R"("method")") != std::string::npos) {
      requests += example + '\n';
    } else {
      shown.push_back(inOneLayout(example));
    }
  }
  const auto file = writeFile("requests", requests);
  std::vector<std::string> answers;
  for (const auto& answer :
       linesOf(runShell(CONNECTOR_HOST_PROGRAM " < " + file.string()).output)) {
    answers.push_back(inOneLayout(answer));
  }
  EXPECT_EQ(answers, shown);

  auto types = linesOf(runShell(CONNECTOR_HOST_PROGRAM " types").output);
  types.emplace_back("connector/v1/OpenWithBrowser");
  for (const auto& type : types) {
    EXPECT_THAT(requests, testing::HasSubstr('"' + type + '"')) << "has no example";
  }
}

} // namespace connector::test
