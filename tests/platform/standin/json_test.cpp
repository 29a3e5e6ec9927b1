#include "support/FileContents.h"
#include "support/JsonText.h"

#include <connector/file_common/v1/Json.h>
#include <connector/json/MessageRegistry.h>
#include <fl/i18n/convert.h>

#include <Poco/Exception.h>
#include <gmock/gmock.h>

#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace connector::file_common::v1 {
namespace {

using Poco::JSON::Object;
using test::bufferOf;
using test::bytesOf;
using test::parseObject;
using test::textOf;
using test::toBase64;

TEST(Convert, ReplacesInvalidBytesAndUnits) {
  const std::vector<std::pair<std::string, std::u16string>> bytes = {
      {"a\x80z", u"a\uFFFDz"},
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                     // overlong
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},           // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above U+10FFFF
      {"\xE2\x82", u"\uFFFD\uFFFD"},                     // cut short by the end
      {"\xF0\x9F\xE2\x82\xAC", u"\uFFFD\uFFFD\u20AC"},   // cut short by a character
  };
  for (const auto& [narrow, wide] : bytes) {
    EXPECT_EQ(fl::i18n::to_ustring(narrow), wide) << ::testing::PrintToString(narrow);
  }
  const std::vector<std::pair<std::u16string, std::string>> units = {
      {{u'a', 0xD800, u'z'}, "a\xEF\xBF\xBDz"},
      {{0xD800, 0xD800, 0xDC00}, "\xEF\xBF\xBD\xF0\x90\x80\x80"},
      {{0xDBFF, 0xDFFF, 0xDFFF}, "\xF4\x8F\xBF\xBF\xEF\xBF\xBD"},
  };
  for (const auto& [wide, narrow] : units) {
    EXPECT_EQ(fl::i18n::to_string(wide, {"UTF-8", true}), narrow);
  }
}

Object::Ptr writtenWith(const std::string& bytes) {
  File file(FileInfo(u"/f", false), bufferOf(bytes));
  return fromFile(file);
}

/// The first byte never occurs in UTF-8, so the bytes are always written in base64.
std::string randomBytes(std::size_t size) {
  static std::mt19937 random(1);
  std::string bytes = "\xFF";
  while (bytes.size() < size) {
    bytes += static_cast<char>(random());
  }
  return bytes;
}

// Enough bytes for code that processes several groups at once, at every distance from the end.
constexpr std::size_t LONG = 200;

TEST(Base64, EqualsThatOfAnotherEncoderAndReadsBack) {
  for (std::size_t size = 1; size < LONG; ++size) {
    const std::string bytes = randomBytes(size);
    const auto written = writtenWith(bytes);
    EXPECT_EQ(written->getValue<std::string>("contents"), toBase64(bytes));
    EXPECT_EQ(bytesOf(toFile(written).getContents()), bytes);
  }
}

TEST(Base64, RefusesEveryOtherCharacterAtEveryPlace) {
  Object::Ptr object = writtenWith(randomBytes(LONG));
  const auto digits = object->getValue<std::string>("contents");
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int code = 0; code < 256; ++code) {
    if (alphabet.find(static_cast<char>(code)) != std::string::npos) {
      continue;
    }
    for (std::size_t at = 0; at < digits.size() - 4; ++at) {
      std::string text = digits;
      text[at] = static_cast<char>(code);
      object->set("contents", text);
      EXPECT_THROW(toFile(object), Poco::DataFormatException) << code << " at " << at;
    }
  }
}

TEST(FileJson, HasTheEncodingOfTheBytes) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
      {"utf-8",
       {"", std::string("\0\r\"\\", 4), "\xED\x9F\xBF", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF"}},
      {"base64",
       {"\x80", "a\xC3", "\xC0\x80", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
        "\xF4\x90\x80\x80", "\xC3\x28"}},
  };
  for (const auto& [encoding, contents] : rows) {
    for (const std::string& bytes : contents) {
      const Object::Ptr written = writtenWith(bytes);
      EXPECT_EQ(written->getValue<std::string>("encoding"), encoding);
      EXPECT_EQ(bytesOf(toFile(parseObject(textOf(written))).getContents()), bytes);
    }
  }
}

TEST(FileJson, IsRefusedWithTheNameOfTheKey) {
  const auto expectRefusal = [](const std::string& text, const std::string& key) {
    EXPECT_THAT([&] { toFile(parseObject(text)); },
                ::testing::Throws<Poco::DataFormatException>(
                    ::testing::Property(&Poco::Exception::message, ::testing::StartsWith(key))))
        << text;
  };
  expectRefusal(R"({"location":null})", "location");
  expectRefusal(R"({"location":"/a","encoding":"UTF-8","contents":""})", "encoding");
  for (const std::string broken :
       {"A", "AA", "AAA", "AA=", "A===", "====", "AAAA=", "AAAA====", "AA==AAAA", "A=AA", "AA=A",
        "AA A", "AAAA\\n", "AA-_", "AB==", "AAB=", "\\u0000AAA", "\\u00E9AA"}) {
    expectRefusal(R"({"location":"/a","encoding":"base64","contents":")" + broken + "\"}",
                  "contents");
  }
}

} // namespace
} // namespace connector::file_common::v1

namespace connector::json {
namespace {

using ::testing::ElementsAre;
using JsonObject = Poco::SharedPtr<Poco::JSON::Object>;

struct Ping : Message {};

struct Pong : Message {};

template <typename T>
void add(MessageRegistry& registry, const std::string& name) {
  registry.registerConverters(
      name, typeid(T), [](const auto&) { return new Poco::JSON::Object; },
      [](const JsonObject&) { return std::make_unique<T>(); });
}

TEST(MessageRegistry, HasOneTypePerNameUntilItIsRemoved) {
  MessageRegistry registry;
  add<Ping>(registry, "ping");
  EXPECT_THROW(add<Pong>(registry, "ping"), std::invalid_argument);
  EXPECT_THROW(add<Ping>(registry, "pong"), std::invalid_argument);
  EXPECT_FALSE(registry.toJson(registry.fromJson("ping", nullptr)).isNull());
  EXPECT_THROW((void)registry.toJson(nullptr), std::invalid_argument);

  add<Pong>(registry, "pong");
  registry.removeConverters(typeid(Message)); // not registered
  registry.removeConverters(typeid(Ping));
  EXPECT_THAT(registry.names(), ElementsAre("pong"));
  EXPECT_THROW((void)registry.toJson(std::make_unique<Ping>()), UnknownMessageType);
  EXPECT_THROW((void)registry.fromJson("ping", nullptr), UnknownMessageType);
}

} // namespace
} // namespace connector::json
