#include "host/Framing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace connector::host {

namespace {

/// Hands out `bytes` in pieces of at most `piece`.
class MemoryInput : public Input {
public:
  MemoryInput(std::string bytes, std::size_t piece)
      : bytes_(std::move(bytes))
      , piece_(piece) {}

  std::size_t read(char* buffer, std::size_t size) override {
    const auto count = stopped_ ? 0 : std::min({size, piece_, bytes_.size() - at_});
    std::memcpy(buffer, bytes_.data() + at_, count);
    at_ += count;
    return count;
  }

  [[nodiscard]] bool stopped() const override { return stopped_; }

  void stop() { stopped_ = true; }

private:
  std::string bytes_;
  std::size_t piece_;
  std::size_t at_ = 0;
  bool stopped_ = false;
};

std::string name(const Incoming& incoming) {
  if (const auto* text = std::get_if<std::string>(&incoming)) {
    return *text;
  }
  switch (std::get<Unreadable>(incoming)) {
  case Unreadable::tooLong:
    return "<too long>";
  case Unreadable::noLength:
    return "<no length>";
  case Unreadable::cutShort:
    return "<cut short>";
  }
  return "<none>";
}

std::vector<std::string> readAll(FrameReader& reader) {
  std::vector<std::string> result;
  while (const auto incoming = reader.next()) {
    result.push_back(name(*incoming));
  }
  return result;
}

struct Stream {
  std::string bytes;
  std::vector<std::string> texts;
};

constexpr std::size_t LIMIT = 8;

void expectTexts(const Stream& stream) {
  for (const auto piece : std::vector<std::size_t>{1, 2, 7, 65536}) {
    MemoryInput input(stream.bytes, piece);
    FrameReader reader(input, LIMIT);
    EXPECT_EQ(readAll(reader), stream.texts) << stream.bytes << " in pieces of " << piece;
  }
}

std::string overlong() {
  std::string text(10000, 'x');
  return text;
}

} // namespace

TEST(Framing, LinesAreTextsAndBlankOnesAreNot) {
  const std::vector<Stream> streams{
      {"", {}},
      {" \n\r\n\t\n", {}},
      {"{1}\n\n  \r\n[2]\r\n", {"{1}", "[2]\r"}},
      {"{1}\n{last}", {"{1}", "{last}"}},
      {"\n\n{1}\n", {"{1}"}},
      {"nonsense\n{1}\n", {"nonsense", "{1}"}},
      {"{1}\nContent-\n", {"{1}", "Content-"}},
      {std::string("{\0}\n{2}\n", 8), {std::string("{\0}", 3), "{2}"}},
  };
  for (const auto& stream : streams) {
    expectTexts(stream);
  }
}

TEST(Framing, OverlongTextIsSkippedAndTheStreamGoesOn) {
  const std::vector<Stream> streams{
      {"12345678\n123456789\n{3}\n", {"12345678", "<too long>", "{3}"}},
      {"{" + overlong() + "\n{2}\n" + overlong() + "\n{4}",
       {"<too long>", "{2}", "<too long>", "{4}"}},
      {"{" + overlong(), {"<too long>"}},
      {"Content-Length: 9\r\n\r\n123456789Content-Length: 8\r\n\r\n12345678",
       {"<too long>", "12345678"}},
      {"Content-Length: 10000\r\n\r\n" + overlong() + "Content-Length: 2\r\n\r\n{}",
       {"<too long>", "{}"}},
      {"Content-Length: 18446744073709551615\r\n\r\n{}", {"<too long>"}},
  };
  for (const auto& stream : streams) {
    expectTexts(stream);
  }
}

TEST(Framing, HeadersTellTheLength) {
  const std::vector<Stream> streams{
      {"Content-Length: 2\r\n\r\n{}Content-Length: 3\r\n\r\n{\n}", {"{}", "{\n}"}},
      {"content-length:2\n\n{}\n\nCONTENT-LENGTH : 2 \n\n[]", {"{}", "[]"}},
      {"Content-Type: a; b=\"c:d\"\r\nContent-Length: 2\r\nX: " + overlong() + "\r\n\r\n{}",
       {"{}"}},
      {"Content-Length: 0\r\n\r\nContent-Length: 2\r\n\r\n{}", {"", "{}"}},
      {"Content-Length: 3\r\n\r\n{}", {"<cut short>"}},
      {"Content-Length: 3\r\n", {"<cut short>"}},
      {"Content-Le", {"<cut short>"}},
  };
  for (const auto& stream : streams) {
    expectTexts(stream);
  }
}

TEST(Framing, HeadersWithoutLengthAreReportedOnceAndTheNextLengthIsFound) {
  const std::string good = "Content-Length: 2\r\n\r\n{}";
  for (const std::string bad : {"Content-Length: two", "Content-Length: -1",
                                "Content-Length:", "Content-Length: 18446744073709551616",
                                "Content-Length 2", "CL: 2", "Content-Length-X: 2"}) {
    for (const std::string body : {"", "{\"a\":\r\n\r\n1}", "\r\n{}\r\n\r\n{}\r\n"}) {
      expectTexts({std::string(bad).append("\r\n\r\n").append(body).append(good).append(good),
                   {"<no length>", "{}", "{}"}});
    }
  }
  expectTexts({"C\n\n" + good + "C\n\n" + good, {"<no length>", "{}", "<no length>", "{}"}});
  expectTexts({"C\n\nContent-Le", {"<no length>"}});
}

TEST(Framing, StopDropsWhatIsNotBegun) {
  MemoryInput input("{1}\n{2}\n{part", 65536);
  FrameReader reader(input, LIMIT);
  EXPECT_EQ(name(reader.next().value()), "{1}");
  input.stop();
  EXPECT_EQ(reader.next(), std::nullopt);
}

TEST(Framing, AnswersUseTheFramingOfTheInput) {
  MemoryInput lines("[]", 1);
  FrameReader lineReader(lines, LIMIT);
  ASSERT_TRUE(lineReader.next());
  EXPECT_EQ(frame(lineReader.framing(), "{}"), "{}\n");

  MemoryInput headers("c: 1", 1);
  FrameReader headerReader(headers, LIMIT);
  ASSERT_TRUE(headerReader.next());
  EXPECT_EQ(frame(headerReader.framing(), "\"\u00e9\""), "Content-Length: 4\r\n\r\n\"\u00e9\"");
}

} // namespace connector::host
