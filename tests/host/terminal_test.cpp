#include "support/Machine.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

namespace connector::host {

namespace {

using test::canInject;
using test::runShell;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

const std::string HOST = CONNECTOR_HOST_PROGRAM;
const std::string FAULT = HOST + R"( call OpenFile '{"path":"/no/such/file"}')";

/// Returns the output of a shell command at a terminal, at which Ctrl-D is typed.
std::string outputAtTerminal(const std::string& command) {
  setenv("COMMAND", command.c_str(), 1);
  return runShell(R"(printf '\004' | script -qec "$COMMAND" /dev/null)").output;
}

class Terminal : public testing::Test {
protected:
  void SetUp() override {
    if (runShell("script -qec true /dev/null 2>&1").status != 0) {
      GTEST_SKIP() << "script cannot create a terminal here";
    }
  }
};

} // namespace

TEST_F(Terminal, ShowsAHintOnlyIfItsInputIsATerminal) {
  EXPECT_THAT(outputAtTerminal(HOST), HasSubstr("Ctrl-D ends it"));
  EXPECT_EQ(outputAtTerminal(HOST + " < /dev/null"), "");
}

TEST_F(Terminal, ShowsFaultsInColourUnlessThatIsUnwanted) {
  const std::string colored = "\x1B[31m  \"messageFaults\": [\r\n";
  const std::string wanted = "TERM=xterm NO_COLOR= ";
  EXPECT_THAT(outputAtTerminal(wanted + FAULT), HasSubstr(colored));
  EXPECT_THAT(outputAtTerminal(wanted + FAULT), HasSubstr("\r\n  ]\x1B[0m,\r\n"));
  for (const auto& plain :
       {"TERM=xterm NO_COLOR=1 " + FAULT, "TERM=dumb NO_COLOR= " + FAULT, wanted + FAULT + " | cat",
        wanted + HOST + R"( call ListFolder '{"path":"/"}')"}) {
    EXPECT_THAT(outputAtTerminal(plain),
                testing::AllOf(HasSubstr("messageFaults"), Not(HasSubstr("\x1B"))))
        << plain;
  }
}

TEST_F(Terminal, ShowsControlCharactersEscaped) {
  const std::string call = HOST + " call CloseFile location=/no/\xC2\x9B\xC2\xA0\x7F";
  EXPECT_THAT(outputAtTerminal(call), HasSubstr("/no/\\u009b\xC2\xA0\\u007f\""));
  EXPECT_THAT(outputAtTerminal(call + " | cat"), HasSubstr("/no/\xC2\x9B\xC2\xA0\x7F\""));
  EXPECT_THAT(outputAtTerminal(HOST + " call OpenFile --contents path=/bin/true"),
              HasSubstr("\\u007fELF"));
}

TEST_F(Terminal, ShowsTheDurationOfALongCall) {
  if (!canInject()) {
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
