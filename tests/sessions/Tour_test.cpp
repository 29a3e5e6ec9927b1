#include <Poco/RegularExpression.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace connector::test {

namespace {

/// Without what differs from one run and one file system to the next.
std::string withoutChance(std::string line) {
  using Poco::RegularExpression;
  const RegularExpression modified(R"("modified":[1-9]\d*)");
  const RegularExpression folderSize(R"rx(("isDirectory":true[^}]*"size":)\d+)rx");
  modified.subst(line, R"("modified":T)", RegularExpression::RE_GLOBAL);
  folderSize.subst(line, "$1N", RegularExpression::RE_GLOBAL);
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

} // namespace

TEST(Tour, PrintsWhatTheReadmeShows) {
  const auto shown = tourInReadme();
  EXPECT_EQ(shown.size(), 11U);
  EXPECT_EQ(outputOf(CONNECTOR_HOST_PROGRAM " < " SOURCE_FOLDER "/examples/tour.ndjson"), shown);
}

} // namespace connector::test
