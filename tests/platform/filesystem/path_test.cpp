#include "Failure.h"

#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>

#include <gtest/gtest.h>

#include <vector>

namespace fl::filesystem::test {
namespace {

TEST(Path, SplitsIntoParentAndName) {
  struct Row {
    std::u16string path;
    std::u16string parent;
    std::u16string name;
  };

  const std::vector<Row> rows = {
      {u"", u"", u""},
      {u"a", u"", u"a"},
      {u"a/", u"", u"a"},
      {u"/", u"/", u""},
      {u"///", u"/", u""},
      {u"/a", u"/", u"a"},
      {u"//a", u"/", u"a"},
      {u"/a/b", u"/a", u"b"},
      {u"/a//b//", u"/a", u"b"},
      {u"a/b/c", u"a/b", u"c"},
      {u"/a/..", u"/a", u".."},
      {u"/a/.", u"/a", u"."},
      {u"\u4e2d/\u6587", u"\u4e2d", u"\u6587"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(detail::extract_parent_path(row.path), row.parent);
    EXPECT_EQ(detail::extract_filename(row.path), row.name);
  }
}

TEST(Path, AppendsAComponent) {
  struct Row {
    std::u16string base;
    bool separate;
    std::u16string result;
  };

  const std::vector<Row> rows = {
      {u"/a", true, u"/a/n"}, {u"/a/", true, u"/a/n"}, {u"/", true, u"/n"},
      {u"", true, u"n"},      {u"/a", false, u"/an"},
  };
  for (const Row& row : rows) {
    std::u16string path = row.base;
    detail::concatenate_pathname(path, u"n", row.separate);
    EXPECT_EQ(path, row.result);
  }
}

TEST(Path, BecomesBytesWithOrWithoutRepeatedSeparators) {
  EXPECT_EQ(detail::make_native_access_form_i18n(u"//a///\u00e9/"), "//a///\xC3\xA9/");
  EXPECT_EQ(detail::make_native_access_form_with_cleanup_i18n(u"//a///\u00e9//"), "/a/\xC3\xA9/");
}

TEST(AbsolutePath, OnlyPrefixesTheBaseOrTheCurrentFolder) {
  const std::u16string current = get_current_path();
  EXPECT_EQ(absolute(u"/a/../b//c/", u"").string(), u"/a/../b//c/");
  EXPECT_EQ(absolute(u"./a/../b//c/", u"/base").string(), u"/base/./a/../b//c/");
  EXPECT_EQ(absolute(u"a", u"").string(), current + (current == u"/" ? u"a" : u"/a"));
  EXPECT_EQ(absolute(u"", u"").string(), current);
  EXPECT_EQ(absolute(u"", u"/base").string(), u"/base");
}

} // namespace
} // namespace fl::filesystem::test
