#include "support/HostClient.h"
#include "support/Machine.h"
#include "support/ScratchFolder.h"
#include "support/Shell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace connector::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr std::size_t MIB = 1024UL * 1024;
constexpr std::size_t BIGGEST_FILE = 19'999'999;

class Memory : public ScratchFolder {
protected:
  void SetUp() override {
    if (SANITIZED) {
      GTEST_SKIP() << "a sanitizer takes more memory than any of the limits";
    }
  }
};

} // namespace

TEST_F(Memory, OpeningTheBiggestFileTakesAFewTimesItsSize) {
  for (const char byte : {'\xFF', 'x', '\x01'}) { // base64, text, and text of which each is escaped
    writeFile("biggest", std::string(BIGGEST_FILE, byte));
    HostClient host(folder());
    host.ask("ListFolder", R"({"path":"."})");
    const auto idle = host.memory("VmHWM:");
    EXPECT_GT(host.askForText("OpenFile", R"({"path":"biggest"})").size(), BIGGEST_FILE);
    const auto more = host.memory("VmHWM:") - idle;
    EXPECT_LE(more, 4 * BIGGEST_FILE) << more << " bytes for " << int{byte};
  }
}

TEST_F(Memory, IsBoundedForEveryRequest) {
  writeFile("biggest", std::string(BIGGEST_FILE, 'x'));
  const std::string open =
      R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/OpenFile","params":{"path":"biggest"}})";
  std::string batch = "[" + open;
  for (int more = 1; more < 10; ++more) {
    batch += "," + open;
  }
  const auto repeated = [](const std::string& text, std::size_t size) {
    std::string all;
    while (all.size() < size) {
      all += text;
    }
    return all;
  };
  const std::vector<std::string> requests{
      batch + "]",
      "[" + repeated("1,", 4 * MIB) + "1]",
      repeated("[", 60 * MIB),
      R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/OpenFile","params":{"path":")" +
          std::string(60 * MIB, 'x') + "\"}}",
      R"({"jsonrpc":"2.0","id":1,"method":"connector/v1/CreateFile","params":{"file":)"
      R"({"location":"new","contents":")" +
          repeated("\\n", 60 * MIB) + "\"}}}",
      "[" + open + R"(,{"jsonrpc":"2.0","id":1,"method":"connector/v1/CreateFile","params":)" +
          R"({"file":{"location":"new","contents":"\n)" + std::string(60 * MIB, 'x') + "\"}}}]"};
  for (const std::size_t jobs : {1U, 2U}) {
    HostClient host(folder(), HostClient::withOptions("--jobs " + std::to_string(jobs)));
    for (const std::string& request : requests) {
      for (std::size_t sent = 0; sent < jobs; ++sent) {
        host.send(request + "\n");
      }
      for (std::size_t received = 0; received < jobs; ++received) {
        host.receiveLine();
      }
      const auto peak = host.memory("VmHWM:");
      EXPECT_LE(peak, jobs * 256 * MIB) << peak / MIB << " MiB up to " << request.substr(0, 100);
    }
  }
}

TEST_F(Memory, WhereItIsShortARequestIsRefusedAndTheNextOneServed) {
  const auto request = [](const std::string& id, const std::string& more) {
    return R"({"jsonrpc":"2.0","method":"connector/v1/OpenFile","params":{"path":"/")" + more +
           R"(},"id":)" + id + "}\n";
  };
  std::string values;
  while (values.size() < 270'000) {
    values += "{},";
  }
  writeFile("values", request("1", R"(,"x":[)" + values + "0]") + request("2", ""));
  writeFile("long",
            request("1", R"(,"x":")" + std::string(25 * MIB, 'x') + '"') + request("2", ""));
  constexpr int least = 36'000; // KiB, more than it starts with
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

TEST_F(Memory, DoesNotKeepAMessageThatIsTooLong) {
  HostClient host(folder(), HostClient::withOptions("--max-message=1048576"));
  host.ask("ListFolder", R"({"path":"."})");
  const auto idle = host.memory("VmHWM:");
  for (int sent = 0; sent < 1024; ++sent) {
    host.send(std::string(MIB, 'x'));
  }
  host.send("\n");
  EXPECT_THAT(host.receiveLine(), HasSubstr("-32600"));
  host.ask("ListFolder", R"({"path":"."})");
  const auto more = host.memory("VmHWM:") - idle;
  EXPECT_LE(more, 16 * MIB) << more << " bytes";
}

} // namespace connector::test
