#include <connector/file_common/v1/Json.h>

#include <Poco/Exception.h>
#include <Poco/JSON/Parser.h>
#include <gmock/gmock.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace connector::file_common::v1 {
namespace {

using Poco::JSON::Array;
using Poco::JSON::Object;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Object::Ptr parsed(const std::string& text) {
  return Poco::JSON::Parser().parse(text).extract<Object::Ptr>();
}

/// With the keys in alphabetical order.
std::string textOf(const Object::Ptr& object) {
  std::ostringstream text;
  object->stringify(text);
  return text.str();
}

FileInfo fullInfo() {
  FileInfo info(u"/w/a.txt", false);
  info.setAttribute(FileAttributes::IS_SHARED, false);
  info.setAttribute(FileAttributes::CAN_WRITE, true);
  info.setAttribute(FileAttributes::DELETED, false);
  info.setAttribute(FileAttributes::SIZE, std::uint64_t{18446744073709551615U});
  info.setAttribute(FileAttributes::MODIFIED, std::int64_t{-1});
  return info;
}

File fileOf(const std::string& bytes) {
  return {FileInfo(u"/w/a", false), DataBuffer(bytes)};
}

/// Across the text, as between two processes.
std::string roundTrip(const std::string& bytes) {
  File file = fileOf(bytes);
  return std::string(toFile(parsed(textOf(fromFile(file)))).getContents().view());
}

std::string encodingOf(const std::string& bytes) {
  File file = fileOf(bytes);
  return fromFile(file)->getValue<std::string>("encoding");
}

/// The message of the Poco::DataFormatException that reading the text as a File raises.
std::string refusal(const std::string& text) {
  try {
    toFile(parsed(text));
  } catch (const Poco::DataFormatException& error) {
    return error.message();
  }
  return "accepted";
}

TEST(FileInfoJson, IsOneFlatObject) {
  EXPECT_EQ(textOf(fromFileInfo(fullInfo())),
            R"({"canWrite":true,"deleted":false,"isDirectory":false,"isShared":false,)"
            R"("location":"/w/a.txt","modified":-1,"name":"a.txt","size":18446744073709551615})");
  EXPECT_EQ(textOf(fromFileInfo(FileInfo())), R"({"isDirectory":false,"location":"","name":""})");
}

TEST(FileInfoJson, ReadsBackWhatItWrote) {
  const std::string text = textOf(fromFileInfo(fullInfo()));
  EXPECT_EQ(textOf(fromFileInfo(toFileInfo(parsed(text)))), text);

  const FileInfo folder = toFileInfo(fromFileInfo(FileInfo(u"/w/\u20AC\U0001F600", true)));
  EXPECT_EQ(folder.getLocation(), u"/w/\u20AC\U0001F600");
  EXPECT_TRUE(folder.isDirectory());
  EXPECT_EQ(folder.findAttribute(FileAttributes::SIZE), nullptr);
}

TEST(FileInfoJson, NeedsTheLocationAloneAndIgnoresTheName) {
  const FileInfo info = toFileInfo(parsed(
      R"({"location": "/w/a", "name": "b", "isDirectory": null, "size": null, "other": 1})"));
  EXPECT_EQ(info.getLocation(), u"/w/a");
  EXPECT_EQ(info.getName(), u"a");
  EXPECT_FALSE(info.isDirectory());
  EXPECT_EQ(info.findAttribute(FileAttributes::SIZE), nullptr);
}

TEST(FileInfoJson, ConvertsOtherKindsOfValuesOrLetsPocoRefuse) {
  const FileInfo info =
      toFileInfo(parsed(R"({"location": 7, "isDirectory": "true", "size": "12", "canWrite": 0})"));
  EXPECT_EQ(info.getLocation(), u"7");
  EXPECT_TRUE(info.isDirectory());
  EXPECT_EQ(boost::any_cast<std::uint64_t>(*info.findAttribute(FileAttributes::SIZE)), 12U);
  EXPECT_FALSE(boost::any_cast<bool>(*info.findAttribute(FileAttributes::CAN_WRITE)));

  EXPECT_THROW(toFileInfo(parsed(R"({"location": "/", "size": -1})")), Poco::RangeException);
  EXPECT_THROW(toFileInfo(parsed(R"({"location": "/", "size": {}})")), Poco::BadCastException);
  EXPECT_THROW(toFileInfo(parsed(R"({"location": "/", "size": "x"})")), Poco::SyntaxException);
}

TEST(FileInfoJson, GivesTheEmptyValueForNoObject) {
  EXPECT_EQ(toFileInfo(nullptr).getLocation(), u"");
  EXPECT_EQ(toFile(nullptr).getFileInfo().getLocation(), u"");
  EXPECT_TRUE(toFileInfos(nullptr).empty());

  const auto array =
      Poco::JSON::Parser().parse(R"([{"location": "/a"}, 1, null])").extract<Array::Ptr>();
  const std::vector<FileInfo> infos = toFileInfos(array);
  ASSERT_EQ(infos.size(), 3U);
  EXPECT_EQ(infos[0].getLocation(), u"/a");
  EXPECT_EQ(infos[1].getLocation(), u"");
  EXPECT_EQ(infos[2].getLocation(), u"");
}

TEST(FileInfoJson, KeepsTheOrderOfAList) {
  const std::vector<FileInfo> infos =
      toFileInfos(fromFileInfos({FileInfo(u"/b", false), FileInfo(u"/a", true)}));
  ASSERT_EQ(infos.size(), 2U);
  EXPECT_EQ(infos[0].getLocation(), u"/b");
  EXPECT_EQ(infos[1].getLocation(), u"/a");
}

TEST(FileJson, BringsBackTheSameBytesWhateverTheyAre) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) {
    everyByte += static_cast<char>(byte);
  }
  for (const std::string& bytes :
       {std::string(), std::string("plain\r\n"), std::string("a\0\xE2\x82\xAC\x7F\"\\", 8),
        everyByte, everyByte + 'x', everyByte + "xy", std::string("\0", 1), std::string("\xFF")}) {
    EXPECT_EQ(roundTrip(bytes), bytes);
  }
  for (int byte = 0; byte < 256; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    EXPECT_EQ(roundTrip(bytes), bytes) << byte;
  }
}

TEST(FileJson, BringsBackLargeContents) {
  for (const char byte : {'x', '\xF3'}) {
    std::string bytes;
    bytes.resize(19'999'999, byte);
    EXPECT_TRUE(roundTrip(bytes) == bytes) << "not printed for its length";
  }
}

TEST(FileJson, IsReadableOnlyWhenTheBytesAreStrictUtf8) {
  for (const char* bytes : {"", "a", "\xED\x9F\xBF", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(encodingOf(bytes), "utf-8") << ::testing::PrintToString(bytes);
  }
  for (const char* bytes :
       {"\x80", "a\xC3", "\xC0\x80", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC3\x28"}) {
    EXPECT_EQ(encodingOf(bytes), "base64") << ::testing::PrintToString(bytes);
  }

  File binary = fileOf(std::string(100, '\xFF'));
  EXPECT_EQ(fromFile(binary)->getValue<std::string>("contents"), std::string(133, '/') + "w==");
}

TEST(FileJson, LeavesTheFileAsItWas) {
  File file(fullInfo(), DataBuffer("text"));
  const std::string first = textOf(fromFile(file));
  EXPECT_EQ(textOf(fromFile(file)), first);
  EXPECT_THAT(first, HasSubstr(R"("contents":"text")"));
  EXPECT_THAT(first, HasSubstr(R"("size":18446744073709551615)"));
}

TEST(FileJson, DefaultsToNoBytesAndToUtf8) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {R"({"location": "/a"})", ""},
      {R"({"location": "/a", "contents": null, "encoding": null})", ""},
      {R"({"location": "/a", "contents": null, "encoding": "base64"})", ""},
      {R"({"location": "/a", "contents": "", "encoding": "base64"})", ""},
      {R"({"location": "/a", "contents": "AAAA"})", "AAAA"},
      {R"({"location": "/a", "contents": "AAAA", "encoding": null})", "AAAA"},
      {R"({"location": "/a", "contents": 12})", "12"},
      {R"({"location": "/a", "contents": 1234, "encoding": "base64"})", "\xD7\x6D\xF8"},
  };
  for (const auto& [text, bytes] : rows) {
    EXPECT_EQ(toFile(parsed(text)).getContents().view(), bytes) << text;
  }
}

TEST(FileJson, RefusalsNameTheKey) {
  EXPECT_THAT(refusal(R"({})"), StartsWith("location"));
  EXPECT_THAT(refusal(R"({"location": null})"), StartsWith("location"));
  EXPECT_THAT(refusal(R"({"location": "/a", "encoding": "UTF-8"})"), StartsWith("encoding"));
  EXPECT_THAT(refusal(R"({"location": "/a", "encoding": ""})"), StartsWith("encoding"));
  for (const char* broken :
       {"A",       "AA",       "AAA",      "AA=",  "A===", "====",       "=",
        "AAAA=",   "AAAA====", "AA==AAAA", "A=AA", "AA=A", "AA A",       " AAAA",
        "AAAA\\n", "AA-_",     "AAA*",     "AB==", "AAB=", "\\u0000AAA", "\\u00E9AA"}) {
    EXPECT_THAT(refusal(R"({"location": "/a", "encoding": "base64", "contents": ")" +
                        std::string(broken) + "\"}"),
                StartsWith("contents"))
        << broken;
  }
}

} // namespace
} // namespace connector::file_common::v1
