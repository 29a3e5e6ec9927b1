#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <string>

namespace connector::host {

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

const std::string HOST = CONNECTOR_HOST_PROGRAM;
const std::string REFUSED = HOST + R"( call OpenFile '{"path":"/no/such/file"}')";

/// What a shell command writes to a terminal of its own.
std::string outputAtTerminal(const std::string& command) {
  Poco::Pipe in;
  Poco::Pipe out;
  const auto script =
      Poco::Process::launch("script", {"-qec", command, "/dev/null"}, &in, &out, nullptr);
  in.writeBytes("\x04", 1); // Ctrl-D, for a command that reads
  Poco::PipeInputStream output(out);
  std::string text(std::istreambuf_iterator<char>(output), {});
  script.wait();
  return text;
}

class Terminal : public testing::Test {
protected:
  void SetUp() override {
    // NOLINTNEXTLINE(cert-env33-c): the shell finds the program
    if (std::system("script -qec true /dev/null > /dev/null 2>&1") != 0) {
      GTEST_SKIP() << "no terminal can be made here";
    }
  }
};

bool mayTrace() {
  // NOLINTNEXTLINE(cert-env33-c): the shell finds the program
  return std::system("strace -o /dev/null -e inject=sync:delay_enter=1 true 2> /dev/null") == 0;
}

} // namespace

TEST_F(Terminal, GreetsOnlyAPerson) {
  EXPECT_THAT(outputAtTerminal(HOST), HasSubstr("Ctrl-D ends it"));
  EXPECT_EQ(outputAtTerminal(HOST + " < /dev/null"), "");
}

TEST_F(Terminal, FaultsAreInColourWhereColoursAreWanted) {
  const std::string colored = "\x1B[31m  \"messageFaults\": [\r\n";
  const std::string wanted = "TERM=xterm NO_COLOR= ";
  EXPECT_THAT(outputAtTerminal(wanted + REFUSED), HasSubstr(colored));
  EXPECT_THAT(outputAtTerminal(wanted + REFUSED), HasSubstr("\r\n  ]\x1B[0m,\r\n"));
  for (const auto& plain :
       {"TERM=xterm NO_COLOR=1 " + REFUSED, "TERM=dumb NO_COLOR= " + REFUSED,
        wanted + REFUSED + " | cat", wanted + HOST + R"( call ListFolder '{"path":"/"}')"}) {
    EXPECT_THAT(outputAtTerminal(plain),
                testing::AllOf(HasSubstr("messageFaults"), Not(HasSubstr("\x1B"))))
        << plain;
  }
}

TEST_F(Terminal, LongCallTellsHowLongItTakes) {
  if (!mayTrace()) {
    GTEST_SKIP() << "strace is not installed, too old or not allowed to trace";
  }
  const std::string call =
      "strace -f -qq -o /dev/null -e inject=getdents64:delay_enter=1500000:when=1 " + HOST +
      R"( call ListFolder '{"path":"/"}' )";
  EXPECT_THAT(outputAtTerminal(call),
              MatchesRegex("(\rconnector-host: ListFolder ... [1-9] s)+\r *\r\\{(.|\r|\n)*"));
  EXPECT_THAT(outputAtTerminal(call + " 2>&1 | cat"), Not(HasSubstr("ListFolder ...")));
}

} // namespace connector::host
