#include <fl/i18n/convert.h>

#include <gtest/gtest.h>

#include <vector>

namespace fl::i18n {
namespace {

std::string narrowed(const ustring& text) {
  return to_string(text, codecvt_ustring_to_string("UTF-8", true));
}

TEST(Convert, KeepsEveryTextThatIsValid) {
  const std::vector<std::pair<std::string, ustring>> rows = {
      {std::string("a\0b", 3), ustring(u"a\0b", 3)},
      {"\xE0\xA0\x80 \xED\x9F\xBF", u"\u0800 \uD7FF"},
      {"\xEE\xBE\x80 \xEE\xBF\xBF", u"\uEF80 \uEFFF"},
      {"\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF", u"\U00010000 \U0010FFFF"},
  };
  for (const auto& [narrow, wide] : rows) {
    EXPECT_EQ(to_ustring(narrow), wide) << narrow;
    EXPECT_EQ(to_ustring(narrow, codecvt_string_to_ustring("UTF-8")), wide) << narrow;
    EXPECT_EQ(narrowed(wide), narrow) << narrow;
  }
}

TEST(Convert, ReplacesEachByteThatIsNoPartOfUtf8) {
  const std::vector<std::pair<std::string, ustring>> rows = {
      {"a\x80z", u"a\uFFFDz"},
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                     // overlong
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},           // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above U+10FFFF
      {"\xE2\x82", u"\uFFFD\uFFFD"},                     // cut short by the end
      {"\xF0\x9F\xE2\x82\xAC", u"\uFFFD\uFFFD\u20AC"},   // cut short by a character
  };
  for (const auto& [narrow, wide] : rows) {
    EXPECT_EQ(to_ustring(narrow), wide) << ::testing::PrintToString(narrow);
  }
}

TEST(Convert, ReplacesEachUnpairedSurrogate) {
  const std::vector<std::pair<ustring, std::string>> rows = {
      {{u'a', 0xD800, u'z'}, "a\xEF\xBF\xBDz"},
      {{0xD800, 0xD800, 0xDC00}, "\xEF\xBF\xBD\xF0\x90\x80\x80"},
      {{0xDBFF, 0xDFFF, 0xDFFF}, "\xF4\x8F\xBF\xBF\xEF\xBF\xBD"},
  };
  for (const auto& [wide, narrow] : rows) {
    EXPECT_EQ(narrowed(wide), narrow) << ::testing::PrintToString(wide);
  }
}

} // namespace
} // namespace fl::i18n
