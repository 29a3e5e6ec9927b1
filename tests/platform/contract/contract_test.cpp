#include "platform/Failure.h"

#include <fl/filesystem/fstream.h>
#include <fl/filesystem/operations.h>
#include <fl/filesystem/path.h>
#include <fl/i18n/convert.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace fl::filesystem::test {
namespace {

constexpr int SHARE_READ_WRITE = 0x40;

using Filesystem = FilesystemTest;

TEST_F(Filesystem, SplitsAPathIntoParentAndNameThatJoinAgain) {
  // path, parent, name, and parent and name joined
  const std::vector<std::array<std::u16string, 4>> rows = {
      {u"", u"", u"", u""},
      {u"a/", u"", u"a", u"a"},
      {u"///", u"/", u"", u"/"},
      {u"//a", u"/", u"a", u"/a"},
      {u"/a//b//", u"/a", u"b", u"/a/b"},
      {u"a/b/..", u"a/b", u"..", u"a/b/.."},
  };
  for (const auto& [path, parent, name, joined] : rows) {
    EXPECT_EQ(detail::extract_parent_path(path), parent);
    EXPECT_EQ(detail::extract_filename(path), name);
    std::u16string result = parent;
    detail::concatenate_pathname(result, name, true);
    EXPECT_EQ(result, joined);
  }
  EXPECT_EQ(detail::make_native_access_form_i18n(u"//a///\u00e9/"), "//a///\xC3\xA9/");
  EXPECT_EQ(detail::make_native_access_form_with_cleanup_i18n(u"//a///\u00e9//"), "/a/\xC3\xA9/");
}

TEST_F(Filesystem, RefusesAPathThatCannotBeTurnedIntoBytes) {
  for (const std::u16string& path :
       {std::u16string(u"a\0b", 3), std::u16string{0xD83D, u'a'}, std::u16string{0xDE00, u'a'}}) {
    const auto expected = failure<FileNameConversionFailure>(EILSEQ, path);
    expectRefusal([&] { detail::make_native_access_form_i18n(path); }, expected);
    expectRefusal([&] { static_cast<void>(status(path)); }, expected);
    expectRefusal([&] { create_directory(path); }, expected);
  }
}

TEST_F(Filesystem, SetsFailbitAndErrnoIfAFileCannotBeOpened) {
  makeDirectory("folder");
  const auto before = disk();
  ifstream missing(textAt("nothing"), std::ios_base::binary, SHARE_READ_WRITE);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_TRUE(missing.fail());
  missing.seekg(0, std::ios_base::end);
  EXPECT_EQ(missing.tellg(), -1);

  ofstream onDirectory(at("folder"), std::ios_base::trunc, SHARE_READ_WRITE);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_FALSE(onDirectory.is_open());
  onDirectory.close();
  EXPECT_TRUE(onDirectory.fail());
  EXPECT_EQ(disk(), before);
}

TEST_F(Filesystem, CreateDirectoriesMakesMissingOnesAndRefusesOtherFiles) {
  writeFile("a/file", "kept");
  std::filesystem::create_directory_symlink("a", at("link"));
  for (const char* path : {"a/b/c", "a/b/c", "a//d///e/", "a/f/./../g", "link/h"}) {
    create_directories(textAt(path));
  }
  for (const char* path : {"a/b/c", "a/d/e", "a/f", "a/g", "a/h"}) {
    EXPECT_TRUE(std::filesystem::is_directory(at(path))) << path;
  }
  expectRefusal([&] { create_directories(textAt("a/file")); },
                failure<FileExistsError>(EEXIST, textAt("a/file")));
  expectRefusal([&] { create_directories(textAt("a/file/b/c")); },
                failure<NotDirectoryError>(ENOTDIR, textAt("a/file/b/c")));
  expectRefusal([&] { create_directory(textAt("a/b")); },
                failure<FileExistsError>(EEXIST, textAt("a/b")));
}

TEST_F(Filesystem, CopyReplacesNothing) {
  writeFile("source", "new");
  writeFile("file", "old");
  std::filesystem::create_symlink("nowhere", at("dangling"));
  for (const char* target : {"file", "dangling"}) {
    expectRefusal([&] { copy(textAt("source"), textAt(target), copy_option{}); },
                  failure<FileExistsError>(EEXIST, textAt(target)));
  }
}

TEST_F(Filesystem, RemoveAllRemovesOnlyTheNamedEntry) {
  writeFile("file");
  writeFile("full/a/b/file", "");
  writeFile("full/.hidden");
  writeFile("victim/file", "kept");
  std::filesystem::create_directory_symlink("../../victim", at("full/a/link"));
  std::filesystem::create_directory_symlink("victim", at("link"));
  std::filesystem::create_directory_symlink("victim", at("slashed"));
  makeDirectory("empty");
  makeDirectory("victim/inner/folder");
  for (const char* name : {"file", "link/../victim/inner", "full", "link", "slashed//", "empty/"}) {
    EXPECT_EQ(failureOf([&] { remove_all(textAt(name)); }), Failure{}) << name;
  }
  for (const char* name : {"no", "no/no", "victim/file/no"}) {
    expectRefusal([&] { remove_all(textAt(name)); }, Failure{});
  }
  for (const char* name : {"victim/.", "victim/./", "victim/.."}) {
    expectRefusal([&] { remove_all(textAt(name)); }, failure<SystemError>(EINVAL, textAt(name)));
  }
  EXPECT_EQ(disk(), (std::map<std::string, std::string>{{"victim", "/"}, {"victim/file", "kept"}}));
}

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

} // namespace
} // namespace fl::filesystem::test
