#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"

#include <connector/file_common/v1/FileNames.h>

#include <gtest/gtest.h>

#include <string>

namespace connector::file_common::v1 {
namespace {

TEST(IsValidFileName, RefusesTheEmptyNameAndControlCharacters) {
  for (const auto& name : {std::u16string(), std::u16string(u"a\0b", 3), std::u16string(u"\u001F"),
                           std::u16string(u"/w/a\u007F")}) {
    EXPECT_FALSE(isValidFileName(name)) << ::testing::PrintToString(name);
  }
  for (const auto* name : {u" ", u"~", u"\u0080", u"..", u"/w/\u00E4 \\:*?\"<>|.txt"}) {
    EXPECT_TRUE(isValidFileName(name)) << ::testing::PrintToString(name);
  }
}

using IsWritableDirectory = connector::test::ScratchFolder;

TEST_F(IsWritableDirectory, AcceptsAFileSystemThatCountsNothing) {
  connector::test::onTmpfs(makeFolder("disk"), "size=0,nr_inodes=0",
                           [&] { EXPECT_EQ(isWritableDirectory(textAt("disk"), false), 0); });
}

} // namespace
} // namespace connector::file_common::v1
