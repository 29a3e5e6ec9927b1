#include "support/ScratchFolder.h"

#include <Poco/JSON/Parser.h>
#include <Poco/JSON/Stringifier.h>
#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
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

std::vector<std::string> outputOf(const std::string& command) {
  std::vector<std::string> lines;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
  std::string line;
  for (int byte = std::fgetc(pipe.get()); byte != EOF; byte = std::fgetc(pipe.get())) {
    if (byte != '\n') {
      line += static_cast<char>(byte);
      continue;
    }
    lines.push_back(withoutChance(line));
    line.clear();
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

TEST(Tour, PrintsWhatTheReadmeShows) {
  const auto shown = tourInReadme();
  EXPECT_EQ(shown.size(), 11U);
  EXPECT_EQ(outputOf(CONNECTOR_HOST_PROGRAM " < " SOURCE_FOLDER "/examples/tour.ndjson"), shown);
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
  for (const auto& answer : outputOf(CONNECTOR_HOST_PROGRAM " < " + file.string())) {
    answers.push_back(inOneLayout(answer));
  }
  EXPECT_EQ(answers, shown);

  auto types = outputOf(CONNECTOR_HOST_PROGRAM " types");
  types.emplace_back("connector/v1/OpenWithBrowser");
  for (const auto& type : types) {
    EXPECT_THAT(requests, testing::HasSubstr('"' + type + '"')) << "has no example";
  }
}

} // namespace connector::test
