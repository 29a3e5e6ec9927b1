#include "support/FileContents.h"

#include <connector/file_common/v1/Json.h>
#include <fl/i18n/convert.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace connector::file_common::v1 {
namespace {

TEST(Text, IsTheSameInUtf8AndInUtf16) {
  const fl::i18n::codecvt_ustring_to_string toUtf8("UTF-8", true);
  const fl::i18n::codecvt_string_to_ustring fromUtf8("UTF-8");
  const std::vector<std::pair<std::string, std::u16string>> rows = {
      {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
      {"\xE0\xA0\x80 \xED\x9F\xBF", u"\u0800 \uD7FF"},
      {"\xEE\xBE\x80 \xEE\xBF\xBF", u"\uEF80 \uEFFF"},
      {"\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF", u"\U00010000 \U0010FFFF"},
  };
  for (const auto& [narrow, wide] : rows) {
    EXPECT_EQ(fl::i18n::to_ustring(narrow, fromUtf8), wide) << narrow;
    EXPECT_EQ(fl::i18n::to_string(wide, toUtf8), narrow);
  }
}

TEST(FileJson, KeepsEveryByteOfTheContents) {
  for (const std::string& bytes : {std::string(), std::string("\0\r\"\\\xC3\xA9", 6),
                                   std::string("\x80"), std::string(100, '\xFF')}) {
    File file(FileInfo(u"/w/\u00E9", false), test::bufferOf(bytes));
    const File read = toFile(fromFile(file));
    EXPECT_EQ(test::bytesOf(read.getContents()), bytes);
    EXPECT_EQ(read.getFileInfo().getLocation(), u"/w/\u00E9");
    EXPECT_EQ(test::bytesOf(file.getContents()), bytes);
  }
}

} // namespace
} // namespace connector::file_common::v1
