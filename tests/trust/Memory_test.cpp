#include "support/HostClient.h"
#include "support/Measured.h"
#include "support/Sanitizer.h"
#include "support/ScratchFolder.h"
#include "support/Shell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <random>
#include <string>

namespace connector::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t MIB = 1024UL * 1024;
constexpr std::size_t GIB = 1024UL * MIB;
constexpr std::size_t BIGGEST_FILE = 19'999'999;

void expectAtMost(std::size_t limit, std::size_t peak, const std::string& what) {
  printMeasured(what + ": at most " + std::to_string(peak) +
                " bytes more than an idle host, allowed are " + std::to_string(limit));
  if (!SANITIZED) {
    EXPECT_LE(peak, limit) << what;
  }
}

std::string randomBytes(std::size_t size) {
  std::mt19937 numbers; // NOLINT(cert-msc51-cpp): the same bytes each time
  std::string bytes(size, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(numbers());
  }
  return bytes;
}

std::string linesOfText(std::size_t size) {
  const std::string line = "\"A line of text\",\twith \\ what JSON escapes, and ä, 漢 and 😀.\n";
  std::string lines;
  while (lines.size() + line.size() <= size) {
    lines += line;
  }
  return lines.append(size - lines.size(), '.');
}

std::string receiveBody(HostClient& host) {
  const auto header = host.receiveLine();
  const std::string name = "Content-Length: ";
  EXPECT_THAT(header, StartsWith(name));
  EXPECT_EQ(host.receiveLine(), "\r");
  return host.receive(std::stoul(header.substr(name.size())));
}

const std::string REQUEST = R"({"jsonrpc":"2.0","id":7,"method":"none"})";

struct Limit {
  const char* name;
  const char* options;
  std::size_t bytes;

  friend std::ostream& operator<<(std::ostream& out, const Limit& limit) {
    return out << limit.name;
  }
};

class Memory : public ScratchFolder {};

class LongMessage : public Memory, public testing::WithParamInterface<Limit> {
protected:
  /// Sends it between two requests; `receive` gives what answers one.
  template <typename Receive>
  void expectRefused(const std::string& request, const std::string& begin, const std::string& end,
                     const Receive& receive) {
    HostClient host(folder(), HostClient::withOptions(GetParam().options));
    host.send(request);
    EXPECT_THAT(receive(host), HasSubstr("-32601"));
    const auto idle = host.peakMemory();
    host.send(begin);
    const std::string piece(MIB, 'x');
    for (std::size_t sent = 0; sent < GIB; sent += MIB) {
      host.send(piece);
    }
    host.send(end);
    EXPECT_THAT(receive(host), HasSubstr("-32600"));
    host.send(request);
    EXPECT_THAT(receive(host), HasSubstr(R"("id":7)"));
    const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
    expectAtMost(GetParam().bytes + 64 * MIB, host.peakMemory() - idle,
                 "a message of 1 GiB " + name);
    EXPECT_EQ(host.finish(), 0);
  }
};

} // namespace

TEST_F(Memory, OpeningTheBiggestFileTakesAFewTimesItsSize) {
  writeFile("binary", randomBytes(BIGGEST_FILE));
  writeFile("text", linesOfText(BIGGEST_FILE));
  writeFile("control characters", std::string(BIGGEST_FILE, '\x01'));
  for (const std::string file : {"binary", "text", "control characters"}) {
    HostClient host(folder());
    host.ask("ListFolder", R"({"path":"."})");
    const auto idle = host.peakMemory();
    const auto answer = host.askForText("OpenFile", R"({"path":")" + file + "\"}");
    EXPECT_GT(answer.size(), BIGGEST_FILE);
    expectAtMost(4 * BIGGEST_FILE, host.peakMemory() - idle, "the biggest file, " + file);
  }
}

TEST_F(Memory, OfALongMessageIsTheSystemsToTakeOnceItIsAnswered) {
  HostClient host(folder());
  const auto ask = [&](const std::string& blanks) {
    host.send(R"({"jsonrpc":"2.0",)" + blanks + R"("id":7,"method":"none"})" + "\n");
    EXPECT_THAT(host.receiveLine(), HasSubstr("-32601"));
  };
  ask("");
  const auto idle = host.keptMemory();
  ask(std::string(60 * MIB, ' '));
  EXPECT_GT(host.peakMemory(), idle + 60 * MIB);
  ask(""); // so that the host has waited
  if (!SANITIZED) {
    EXPECT_LT(host.keptMemory(), idle + 4 * MIB);
  }
}

TEST_F(Memory, WhereItIsShortARequestIsRefusedAndTheNextOneServed) {
  if (SANITIZED) {
    GTEST_SKIP() << "a sanitizer takes more address space than is left here";
  }
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
  int limits = 0;
  for (const std::string file : {"values", "long"}) {
    for (int limit = least; limit <= 60'000; limit += 4'000, ++limits) {
      const auto host =
          runShell("ulimit -v " + std::to_string(limit) +
                   "; " CONNECTOR_HOST_PROGRAM " 2> /dev/null < " + at(file).string());
      EXPECT_EQ(host.status, 0) << limit;
      EXPECT_THAT(host.output,
                  AllOf(HasSubstr(R"("code":-32603)"), HasSubstr(R"("id":2,"result")")))
          << file << ' ' << limit;
    }
  }
  printMeasured(std::to_string(limits) +
                " limits of the address space: refused, and the next request served");
}

TEST_P(LongMessage, OfOneLineIsRefusedWithoutBeingKept) {
  expectRefused(REQUEST + "\n", "", "\n", [](HostClient& host) { return host.receiveLine(); });
}

TEST_P(LongMessage, WithALengthIsRefusedWithoutBeingKept) {
  const std::string length = "Content-Length: ";
  expectRefused(length + std::to_string(REQUEST.size()) + "\r\n\r\n" + REQUEST,
                length + std::to_string(GIB) + "\r\n\r\n", "", receiveBody);
}

INSTANTIATE_TEST_SUITE_P(With, LongMessage,
                         testing::Values(Limit{"DefaultLimit", "", 64 * MIB},
                                         Limit{"SmallLimit", "--max-message=1048576", MIB}),
                         testing::PrintToStringParamName());

} // namespace connector::test
