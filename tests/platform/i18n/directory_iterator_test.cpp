#include "support/OpenDescriptors.h"
#include "support/ScratchFolder.h"
#include "support/Unprivileged.h"

#include <fl/filesystem/exceptions.h>
#include <fl/i18n/directory_iterator.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <vector>

namespace fl::filesystem::detail {
namespace {

using connector::test::openDescriptors;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

std::vector<std::u16string> namesIn(const std::u16string& path) {
  std::vector<std::u16string> names;
  for (upath_directory_iterator_impl entries(path, 0, false); entries.is_open();
       entries.increment()) {
    names.push_back(entries.entry().filename());
  }
  return names;
}

class DirectoryIterator : public connector::test::ScratchFolder {};

TEST_F(DirectoryIterator, YieldsEveryEntryOnceAndNotTheFolderItself) {
  writeFile("a.txt");
  writeFile(".hidden");
  makeFolder("sub/deeper");
  std::filesystem::create_symlink("nowhere", at("dangling"));
  std::filesystem::create_directory_symlink("sub", at("link"));

  EXPECT_THAT(namesIn(textAt("")),
              UnorderedElementsAre(u"a.txt", u".hidden", u"sub", u"dangling", u"link"));
  EXPECT_THAT(namesIn(textAt("link")), UnorderedElementsAre(u"deeper"));
}

TEST_F(DirectoryIterator, YieldsNamesThatAreNotUtf8) {
  writeFile("caf\xE9");
  writeFile("\xE2\x82\xAC");

  EXPECT_THAT(namesIn(textAt("")), UnorderedElementsAre(u"caf\uEFE9", u"\u20AC"));
}

TEST_F(DirectoryIterator, IsNotOpenWhereThereIsNothingToWalk) {
  writeFile("file");
  makeFolder("empty");
  ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);

  for (const char* name : {"missing", "missing/below", "file", "file/below", "fifo", "empty"}) {
    EXPECT_FALSE(upath_directory_iterator_impl(textAt(name), 0, false).is_open()) << name;
  }
  EXPECT_FALSE(upath_directory_iterator_impl(u"", 0, false).is_open());
}

TEST_F(DirectoryIterator, ThrowsWhereAFolderCannotBeRead) {
  std::filesystem::permissions(makeFolder("locked"), std::filesystem::perms::none);
  std::filesystem::create_symlink("loop", at("loop"));

  connector::test::asUnprivilegedUser([&] {
    const auto before = openDescriptors();
    EXPECT_THROW(namesIn(textAt("locked")), AccessDenied);
    EXPECT_THROW(namesIn(textAt("locked/below")), AccessDenied);
    EXPECT_THROW(namesIn(textAt("loop")), SystemError);
    EXPECT_THROW(namesIn(std::u16string(u"/\0", 2)), FileNameConversionFailure);
    EXPECT_EQ(openDescriptors(), before);
  });
}

TEST_F(DirectoryIterator, ClosesTheFolderAtTheEndAndWhenAbandoned) {
  writeFile("a");
  writeFile("b");
  const auto before = openDescriptors();

  upath_directory_iterator_impl atTheEnd(textAt(""), 0, true);
  EXPECT_THAT(openDescriptors(), SizeIs(before.size() + 1));
  {
    const upath_directory_iterator_impl abandoned(textAt(""), 0, true);
    EXPECT_THAT(openDescriptors(), SizeIs(before.size() + 2));
  }
  atTheEnd.increment();
  EXPECT_TRUE(atTheEnd.is_open());
  atTheEnd.increment();
  EXPECT_FALSE(atTheEnd.is_open());
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DirectoryIterator, KnowsNoModeButZero) {
  EXPECT_THROW(upath_directory_iterator_impl(textAt(""), 1, false), std::invalid_argument);
}

} // namespace
} // namespace fl::filesystem::detail
