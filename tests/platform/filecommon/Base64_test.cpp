#include <connector/file_common/v1/Json.h>

#include <Poco/Base64Encoder.h>
#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

namespace connector::file_common::v1 {
namespace {

using Poco::JSON::Object;

std::string pocosBase64(const std::string& bytes) {
  std::ostringstream text;
  Poco::Base64Encoder encoder(text);
  encoder.rdbuf()->setLineLength(0);
  encoder << bytes;
  encoder.close();
  return text.str();
}

Object::Ptr fileObject(const std::string& contents) {
  Object::Ptr object = new Object;
  object->set("location", "/f");
  object->set("encoding", "base64");
  object->set("contents", contents);
  return object;
}

/// Bytes that begin with one that no text has.
std::string randomBytes(std::size_t size) {
  static std::mt19937 random(1);
  std::string bytes = "\xFF";
  while (bytes.size() < size) {
    bytes += static_cast<char>(random());
  }
  return bytes;
}

// Long enough for whatever takes several groups at once, at every distance from the end.
constexpr std::size_t LONG = 200;

TEST(Base64, IsThatOfAnotherEncoderAndReadsBack) {
  for (std::size_t size = 1; size < LONG; ++size) {
    const std::string bytes = randomBytes(size);
    File file(FileInfo(u"/f", false), DataBuffer(bytes));
    const auto written = fromFile(file);
    EXPECT_EQ(written->getValue<std::string>("contents"), pocosBase64(bytes));
    EXPECT_EQ(toFile(written).getContents().view(), bytes);
  }
}

TEST(Base64, EveryCharacterButTheDigitsIsRefusedAtEveryPlace) {
  const std::string digits = pocosBase64(randomBytes(LONG));
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int code = 0; code < 256; ++code) {
    const char other = static_cast<char>(code);
    for (std::size_t at = 0; at < digits.size() - 4; ++at) {
      std::string text = digits;
      text[at] = other;
      if (alphabet.find(other) != std::string::npos) {
        EXPECT_EQ(pocosBase64(std::string(toFile(fileObject(text)).getContents().view())), text);
      } else {
        EXPECT_THROW(toFile(fileObject(text)), Poco::DataFormatException) << code << " at " << at;
      }
    }
  }
}

} // namespace
} // namespace connector::file_common::v1
