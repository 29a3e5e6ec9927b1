#include "host/Framing.h"
#include "support/MemoryInput.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace connector::host {

namespace {

using Reason = Unreadable::Reason;
using Found = std::variant<std::string, Reason>;

/// The bytes of a stream, and the texts that the reader finds in them.
using Stream = std::pair<std::string, std::vector<Found>>;

constexpr std::size_t LIMIT = 8;
const std::string OVERLONG(10000, 'x');

void expectTexts(const std::vector<Stream>& streams) {
  for (const auto& [bytes, texts] : streams) {
    for (const std::size_t piece : {1U, 2U, 7U, 65536U}) {
      MemoryInput input(bytes, piece);
      FrameReader reader(input, LIMIT);
      std::vector<Found> found;
      while (const auto incoming = reader.next()) {
        if (const auto* unreadable = std::get_if<Unreadable>(&*incoming)) {
          found.emplace_back(unreadable->reason);
        } else {
          found.emplace_back(std::string(std::get<Text>(*incoming).bytes()));
        }
      }
      EXPECT_EQ(found, texts) << bytes << " in pieces of " << piece;
    }
  }
}

} // namespace

TEST(Framing, SkipsBlankLines) {
  expectTexts({{"", {}},
               {"\n\n{1}\n\n  \r\n[2]\r\n", {"{1}", "[2]\r"}},
               {"{1}\n{last}", {"{1}", "{last}"}},
               {std::string("{\0}\n{2}\n", 8), {std::string("{\0}", 3), "{2}"}}});
}

TEST(Framing, ContinuesAfterOverlongText) {
  const auto tooLong = Reason::tooLong;
  expectTexts({{"12345678\n123456789\n{3}\n", {"12345678", tooLong, "{3}"}},
               {"{" + OVERLONG + "\n{2}\n" + OVERLONG, {tooLong, "{2}", tooLong}},
               {"Content-Length: 9\r\n\r\n123456789Content-Length: 8\r\n\r\n12345678",
                {tooLong, "12345678"}},
               {"Content-Length: 10000\r\n\r\n" + OVERLONG + "Content-Length: 2\r\n\r\n{}",
                {tooLong, "{}"}},
               {"Content-Length: 18446744073709551615\r\n\r\n{}", {tooLong}}});
}

TEST(Framing, FindsTheIdOfASkippedText) {
  const std::string texts[] = {R"({"id":"a\"","x":")" + OVERLONG + "\\\"\"}",
                               R"({"x":{"id":1,"y":")" + OVERLONG + R"("},"id":"a\""})"};
  for (const std::string& text : texts) {
    for (const auto& bytes :
         {text + "\n", "Content-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text}) {
      for (const std::size_t piece : {1U, 7U, 65536U}) {
        MemoryInput input(bytes, piece);
        FrameReader reader(input, LIMIT);
        const auto incoming = reader.next().value();
        EXPECT_EQ(std::get<Unreadable>(incoming).id, R"("a\"")") << bytes.substr(0, 100);
      }
    }
  }
}

TEST(Framing, ReadsContentLength) {
  expectTexts(
      {{"Content-Length: 2\r\n\r\n{}Content-Length: 3\r\n\r\n{\n}", {"{}", "{\n}"}},
       {"content-length:2\n\n{}\n\nCONTENT-LENGTH : 2 \n\n[]", {"{}", "[]"}},
       {"Content-Type: a; b=\"c:d\"\r\nContent-Length: 2\r\nX: " + OVERLONG + "\r\n\r\n{}", {"{}"}},
       {"Content-Length: 0\r\n\r\nContent-Length: 2\r\n\r\n{}", {"", "{}"}},
       {"Content-Length: 2\r\nX-Content-Length: 9\r\nX: Content-Length: 9\r\n\r\n{}", {"{}"}},
       {"Content-Length: 3\r\n\r\n{}", {Reason::cutShort}},
       {"Content-Le", {Reason::cutShort}}});
}

TEST(Framing, ReportsMissingLengthAndContinues) {
  const auto noLength = Reason::noLength;
  const std::string good = "Content-Length: 2\r\n\r\n{}";
  for (const std::string bad : {"Content-Length: -1", "Content-Length: 2x",
                                "Content-Length:", "Content-Length 2", "Content-Length-X: 2"}) {
    expectTexts({{bad + "\r\n\r\n" + good + good, {noLength, "{}", "{}"}},
                 {bad + "\r\n\r\n{\"a\":\r\n\r\n1}" + good, {noLength, noLength, "{}"}}});
  }
  expectTexts({{"C\n\n" + good + "C\n\n" + good, {noLength, "{}", noLength, "{}"}},
               {"C\n\nContent-Le", {noLength, Reason::cutShort}}});
}

} // namespace connector::host
