#include "support/JsonText.h"

#include <connector/file_common/v1/Json.h>

#include <Poco/Exception.h>
#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace connector::file_common::v1 {
namespace {

using connector::test::parseObject;
using connector::test::textOf;
using Poco::JSON::Object;
using ::testing::StartsWith;

/// The message of the Poco::DataFormatException that reading the text as a File raises.
std::string refusal(const std::string& text) {
  try {
    toFile(parseObject(text));
  } catch (const Poco::DataFormatException& error) {
    return error.message();
  }
  return "accepted";
}

TEST(FileInfoJson, IsOneFlatObjectThatReadsBack) {
  FileInfo info(u"/w/a.txt", false);
  info.setAttribute(FileAttributes::IS_SHARED, false);
  info.setAttribute(FileAttributes::CAN_WRITE, true);
  info.setAttribute(FileAttributes::DELETED, false);
  info.setAttribute(FileAttributes::SIZE, std::uint64_t{1});
  info.setAttribute(FileAttributes::SIZE, std::uint64_t{18446744073709551615U}); // replaces it
  info.setAttribute(FileAttributes::MODIFIED, std::int64_t{-1});
  const std::string text =
      R"({"canWrite":true,"deleted":false,"isDirectory":false,"isShared":false,)"
      R"("location":"/w/a.txt","modified":-1,"name":"a.txt","size":18446744073709551615})";
  EXPECT_EQ(textOf(fromFileInfo(info)), text);
  EXPECT_EQ(textOf(fromFileInfo(toFileInfo(parseObject(text)))), text);
}

TEST(FileJson, IsReadableOnlyWhenTheBytesAreStrictUtf8AndReadsBack) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
      {"utf-8",
       {"", std::string("\0\r\"\\", 4), "\xED\x9F\xBF", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF"}},
      {"base64",
       {"\x80", "a\xC3", "\xC0\x80", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
        "\xF4\x90\x80\x80", "\xC3\x28", std::string(100, '\xFF')}},
  };
  for (const auto& [encoding, contents] : rows) {
    for (const std::string& bytes : contents) {
      File file(FileInfo(u"/w/a", false), DataBuffer(bytes));
      const Object::Ptr written = fromFile(file);
      EXPECT_EQ(written->getValue<std::string>("encoding"), encoding);
      EXPECT_EQ(toFile(parseObject(textOf(written))).getContents().view(), bytes);
      EXPECT_EQ(file.getContents().view(), bytes);
    }
  }
}

TEST(FileJson, DefaultsToNoBytesAndToUtf8) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {R"({"location": "/a"})", ""},
      {R"({"location": "/a", "contents": null, "encoding": "base64"})", ""},
      {R"({"location": "/a", "contents": "", "encoding": "base64"})", ""},
      {R"({"location": "/a", "contents": "AAAA", "encoding": null})", "AAAA"},
      {R"({"location": "/a", "contents": 12})", "12"},
      {R"({"location": "/a", "contents": 1234, "encoding": "base64"})", "\xD7\x6D\xF8"},
  };
  for (const auto& [text, bytes] : rows) {
    EXPECT_EQ(toFile(parseObject(text)).getContents().view(), bytes) << text;
  }
}

TEST(FileJson, RefusalsNameTheKey) {
  EXPECT_THAT(refusal(R"({"location": null})"), StartsWith("location"));
  EXPECT_THAT(refusal(R"({"location": "/a", "encoding": "UTF-8"})"), StartsWith("encoding"));
  for (const char* broken :
       {"A", "AA", "AAA", "AA=", "A===", "====", "AAAA=", "AAAA====", "AA==AAAA", "A=AA", "AA=A",
        "AA A", "AAAA\\n", "AA-_", "AB==", "AAB=", "\\u0000AAA", "\\u00E9AA"}) {
    EXPECT_THAT(refusal(R"({"location": "/a", "encoding": "base64", "contents": ")" +
                        std::string(broken) + "\"}"),
                StartsWith("contents"))
        << broken;
  }
}

} // namespace
} // namespace connector::file_common::v1
