#include "Failure.h"
#include "native_name.h"

#include <fl/filesystem/path.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

namespace fl::filesystem::test {
namespace {

TEST(Path, SplitsIntoParentAndNameWhichLeadBack) {
  struct Row {
    std::u16string path;
    std::u16string parent;
    std::u16string name;
    std::u16string joined;
  };

  const std::vector<Row> rows = {
      {u"", u"", u"", u""},
      {u"a/", u"", u"a", u"a"},
      {u"///", u"/", u"", u"/"},
      {u"//a", u"/", u"a", u"/a"},
      {u"/a//b//", u"/a", u"b", u"/a/b"},
      {u"a/b/..", u"a/b", u"..", u"a/b/.."},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(detail::extract_parent_path(row.path), row.parent);
    EXPECT_EQ(detail::extract_filename(row.path), row.name);
    std::u16string joined = row.parent;
    detail::concatenate_pathname(joined, row.name, true);
    EXPECT_EQ(joined, row.joined);
  }
  EXPECT_EQ(detail::make_native_access_form_i18n(u"//a///\u00e9/"), "//a///\xC3\xA9/");
  EXPECT_EQ(detail::make_native_access_form_with_cleanup_i18n(u"//a///\u00e9//"), "/a/\xC3\xA9/");
}

TEST(NativeName, HasOneFormForEachName) {
  const std::vector<std::pair<std::string, std::u16string>> rows = {
      {"a\xC3\xA9", u"a\u00e9"},                         // two bytes
      {"\xF0\x9F\x98\x80", u"\U0001F600"},               // four bytes
      {"\xEE\xBD\xBF\xEF\x80\x80", u"\uef7f\uf000"},     // private use outside the escapes
      {"\x80-\xFF", u"\uef80-\uefff"},                   // lone high bytes
      {"\xC0\xAF", u"\uefc0\uefaf"},                     // overlong
      {"\xED\xA0\x80", u"\uefed\uefa0\uef80"},           // surrogate
      {"\xF4\x90\x80\x80", u"\ueff4\uef90\uef80\uef80"}, // beyond Unicode
      {"\xE4\xB8z", u"\uefe4\uefb8z"},                   // truncated, then text
      {"z\xF0\x9F\x98", u"z\ueff0\uef9f\uef98"},         // truncated at the end
      {"\xE4\xC3\xA9", u"\uefe4\u00e9"},                 // broken off by a valid one
      {"\xEE\xBE\x80", u"\uefee\uefbe\uef80"},           // an escape as real UTF-8
  };
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(detail::native_to_utf16(bytes), text);
    EXPECT_EQ(detail::utf16_to_native(text), bytes);
  }
}

TEST(NativeName, RefusesWhatIsTheFormOfNoName) {
  const std::vector<std::pair<const char*, std::u16string>> rows = {
      {"a NUL", {u'a', u'\0', u'b'}},
      {"a high surrogate before text", {0xD83D, u'a'}},
      {"a lone low surrogate", {0xDE00, u'a'}},
      {"escaped bytes that are plain UTF-8", u"\uefc3\uefa9"},
      {"escaped bytes that complete a character across text", u"/a/\ueff0\uef9f\uef98\uef80/b"},
  };
  for (const auto& [what, text] : rows) {
    EXPECT_EQ(failureOf([text = text] { detail::utf16_to_native(text); }),
              failure<FileNameConversionFailure>(EILSEQ, text))
        << what;
  }
}

} // namespace
} // namespace fl::filesystem::test
