#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/ScratchDirectory.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <vector>

namespace connector::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr std::size_t MIB = 1024UL * 1024;
constexpr std::size_t BIGGEST_FILE = 19'999'999;
constexpr auto CREATE = R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/CreateFile","params":)"
                        R"({"file":{"location":"new","contents":")";

/// Returns a request with further params and its id at the end.
std::string openFile(const std::string& path, const std::string& more = "", int id = 1) {
  return R"({"jsonrpc":"2.0","method":"connector/v1/OpenFile","params":{"path":")" + path + '"' +
         more + R"(},"id":)" + std::to_string(id) + '}';
}

std::string repeated(const std::string& text, std::size_t size) {
  std::string all;
  while (all.size() < size) {
    all += text;
  }
  return all;
}

class Memory : public ScratchDirectory {
protected:
  void SetUp() override {
    if (SANITIZED) {
      GTEST_SKIP() << "a sanitizer takes more memory than any of the limits";
    }
  }
};

} // namespace

TEST_F(Memory, ForTheBiggestFileIsAFewTimesItsSize) {
  for (const char byte : {'\xFF', 'x', '\x01'}) { // base64, text, text that is escaped
    writeFile("biggest", std::string(BIGGEST_FILE, byte));
    HostClient host(directory());
    host.ask("ListFolder", R"({"path":"."})");
    const auto idle = host.peakMemory();
    EXPECT_GT(host.askForText("OpenFile", R"({"path":"biggest"})").size(), BIGGEST_FILE);
    const auto more = host.peakMemory() - idle;
    EXPECT_LE(more, 4 * BIGGEST_FILE) << more << " bytes for " << int{byte};
  }
}

TEST_F(Memory, IsBoundedForEveryRequest) {
  writeFile("biggest", std::string(BIGGEST_FILE, 'x'));
  const std::string open = openFile("biggest");
  const std::vector<std::string> requests{"[" + repeated(open + ",", 9 * open.size()) + open + "]",
                                          "[" + repeated("1,", 4 * MIB) + "1]",
                                          repeated("[", 60 * MIB),
                                          openFile(std::string(60 * MIB, 'x')),
                                          CREATE + repeated("\\n", 60 * MIB) + "\"}}}",
                                          "[" + open + "," + CREATE + "\\n" +
                                              std::string(60 * MIB, 'x') + "\"}}}]"};
  for (const std::size_t jobs : {1U, 2U}) {
    HostClient host(directory(), HostClient::withOptions("--jobs " + std::to_string(jobs)));
    for (const std::string& request : requests) {
      for (std::size_t sent = 0; sent < jobs; ++sent) {
        host.send(request + "\n");
      }
      for (std::size_t received = 0; received < jobs; ++received) {
        host.receiveLine();
      }
      const auto peak = host.peakMemory();
      EXPECT_LE(peak, jobs * 256 * MIB)
          << peak / MIB << " MiB at the peak, after " << request.substr(0, 100);
    }
  }
}

TEST_F(Memory, ShortageFailsOnlyOneRequest) {
  const std::string next = "\n" + openFile("/", "", 2) + "\n";
  writeFile("values", openFile("/", R"(,"x":[)" + repeated("{},", 270'000) + "0]") + next);
  writeFile("long", openFile("/", R"(,"x":")" + std::string(25 * MIB, 'x') + '"') + next);
  constexpr int least = 36'000; // KiB, more than the host needs to start
  for (const std::string file : {"values", "long"}) {
    for (int limit = least; limit <= 60'000; limit += 4'000) {
      const auto host =
          runShell("ulimit -v " + std::to_string(limit) +
                   "; " CONNECTOR_HOST_PROGRAM " 2> /dev/null < " + at(file).string());
      EXPECT_EQ(host.status, 0) << limit;
      EXPECT_THAT(host.output,
                  AllOf(HasSubstr(R"("code":-32603)"), HasSubstr(R"("id":2,"result")")))
          << file << ' ' << limit;
    }
  }
}

TEST_F(Memory, DoesNotHoldAMessageThatIsTooLong) {
  HostClient host(directory(), HostClient::withOptions("--max-message=1048576"));
  host.ask("ListFolder", R"({"path":"."})");
  const auto idle = host.peakMemory();
  for (int sent = 0; sent < 1024; ++sent) {
    host.send(std::string(MIB, 'x'));
  }
  host.send("\n");
  EXPECT_THAT(host.receiveLine(), HasSubstr("-32600"));
  host.ask("ListFolder", R"({"path":"."})");
  const auto more = host.peakMemory() - idle;
  EXPECT_LE(more, 16 * MIB) << more << " bytes";
}

} // namespace connector::test
