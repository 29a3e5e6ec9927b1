#include <fl/i18n/convert.h>

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <vector>

namespace fl::i18n {
namespace {

std::string narrowed(const ustring& text) {
  return to_string(text, codecvt_ustring_to_string("UTF-8", true));
}

TEST(Convert, KeepsEveryTextThatIsValid) {
  const std::vector<std::pair<std::string, ustring>> rows = {
      {"", u""},
      {"plain", u"plain"},
      {std::string("a\0b", 3), ustring(u"a\0b", 3)},
      {"\xC2\x80 \xDF\xBF", u"\u0080 \u07FF"},
      {"\xE0\xA0\x80 \xED\x9F\xBF", u"\u0800 \uD7FF"},
      {"\xEE\xBE\x80 \xEE\xBF\xBF", u"\uEF80 \uEFFF"},
      {"\xEF\xBF\xBD \xEF\xBF\xBF", u"\uFFFD \uFFFF"},
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
      {"\xFF\xFE", u"\uFFFD\uFFFD"},
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                     // overlong
      {"\xC1\xBF", u"\uFFFD\uFFFD"},                     // overlong
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},           // overlong
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, // overlong
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},           // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above U+10FFFF
      {"\xE2\x82", u"\uFFFD\uFFFD"},                     // cut short by the end
      {"\xE2\x82z", u"\uFFFD\uFFFDz"},                   // cut short by a character
      {"\xE2\xC3\xA9", u"\uFFFD\u00E9"},                 // cut short by a longer one
      {"\xF0\x9F\xE2\x82\xAC", u"\uFFFD\uFFFD\u20AC"},   //
      {"\xF8\x88\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
  };
  for (const auto& [narrow, wide] : rows) {
    EXPECT_EQ(to_ustring(narrow), wide) << ::testing::PrintToString(narrow);
  }
}

TEST(Convert, ReplacesEachUnpairedSurrogate) {
  const std::vector<std::pair<ustring, std::string>> rows = {
      {{u'a', 0xD800, u'z'}, "a\xEF\xBF\xBDz"},
      {{0xDC00, 0xD800}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {{0xD800, 0xD800, 0xDC00}, "\xEF\xBF\xBD\xF0\x90\x80\x80"},
      {{0xDBFF, 0xDFFF, 0xDFFF}, "\xF4\x8F\xBF\xBF\xEF\xBF\xBD"},
  };
  for (const auto& [wide, narrow] : rows) {
    EXPECT_EQ(narrowed(wide), narrow) << ::testing::PrintToString(wide);
  }
}

TEST(Convert, WritesNumbersInDecimal) {
  EXPECT_EQ(to_ustring(0), u"0");
  EXPECT_EQ(to_ustring(std::numeric_limits<std::int64_t>::min()), u"-9223372036854775808");
}

TEST(Convert, KnowsNoOtherEncoding) {
  EXPECT_THROW(codecvt_ustring_to_string("UTF-16", true), std::invalid_argument);
  EXPECT_THROW(codecvt_string_to_ustring(""), std::invalid_argument);
}

} // namespace
} // namespace fl::i18n
