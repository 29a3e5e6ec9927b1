#include "support/ScratchFolder.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

#include <connector/file_common/v1/FileNames.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <vector>

namespace connector::file_common::v1 {
namespace {

TEST(IsValidFileName, RefusesTheEmptyNameAndControlCharacters) {
  const std::vector<std::pair<std::u16string, bool>> rows = {
      {u"", false},
      {std::u16string(u"a\0b", 3), false},
      {u"a\nb", false},
      {u"\u001F", false},
      {u"/w/a\u007F", false},
      {u" ", true},
      {u"~", true},
      {u"\u0080", true},
      {u"/w/\u00E4 \\:*?\"<>|.txt", true},
      {u"..", true},
      {{u'a', 0xD800}, true},
      {std::u16string(5000, u'x'), true},
  };
  for (const auto& [name, valid] : rows) {
    EXPECT_EQ(isValidFileName(name), valid) << ::testing::PrintToString(name);
  }
}

class IsWritableDirectory : public connector::test::ScratchFolder {
protected:
  [[nodiscard]] int check(const char* name) const {
    return isWritableDirectory(textAt(name), false);
  }
};

TEST_F(IsWritableDirectory, TellsWhyNot) {
  writeFile("file");
  makeFolder("folder");
  std::filesystem::create_directory_symlink("folder", at("link"));
  std::filesystem::create_directory_symlink("loop", at("loop"));
  const auto before = disk();

  EXPECT_EQ(check("folder"), 0);
  EXPECT_EQ(check("link"), 0);
  EXPECT_EQ(check("missing"), ENOENT);
  EXPECT_EQ(check("file"), ENOTDIR);
  EXPECT_EQ(check("file/below"), ENOTDIR);
  EXPECT_EQ(check("loop"), ELOOP);
  EXPECT_EQ(isWritableDirectory(u"", false), ENOENT);
  EXPECT_EQ(isWritableDirectory(std::u16string(u"/tmp\0", 5), false), EINVAL);
  EXPECT_EQ(disk(), before);
}

TEST_F(IsWritableDirectory, NeedsPermissionToWriteAndToSearch) {
  using std::filesystem::perms;
  const std::vector<std::pair<perms, int>> rows = {
      {perms::all, 0},
      {perms::all & ~(perms::owner_write | perms::others_write), EACCES},
      {perms::all & ~(perms::owner_exec | perms::others_exec), EACCES},
      {perms::owner_write | perms::owner_exec | perms::others_write | perms::others_exec, 0},
  };
  makeFolder("folder/below");
  for (const auto& [bits, expected] : rows) {
    std::filesystem::permissions(at("folder"), bits);
    connector::test::asUnprivilegedUser([&, code = expected] { EXPECT_EQ(check("folder"), code); });
  }
}

TEST_F(IsWritableDirectory, TellsAReadOnlyFileSystem) {
  connector::test::onTmpfs(makeFolder("disk"), "size=64k", [&] {
    EXPECT_EQ(check("disk"), 0);
    connector::test::makeReadOnly(at("disk"));
    EXPECT_EQ(check("disk"), EROFS);
  });
}

TEST_F(IsWritableDirectory, TellsAFileSystemWithoutFreeBlocks) {
  connector::test::onTmpfs(makeFolder("disk"), "size=64k", [&] {
    connector::test::fillUp(at("disk"));
    EXPECT_EQ(check("disk"), ENOSPC);
    std::filesystem::remove(at("disk/filler"));
    EXPECT_EQ(check("disk"), 0);
  });
}

TEST_F(IsWritableDirectory, TellsAFileSystemWithoutFreeInodes) {
  connector::test::onTmpfs(makeFolder("disk"), "nr_inodes=2", [&] {
    EXPECT_EQ(check("disk"), 0);
    writeFile("disk/the last");
    EXPECT_EQ(check("disk"), ENOSPC);
  });
}

TEST_F(IsWritableDirectory, AcceptsAFileSystemThatCountsNothing) {
  connector::test::onTmpfs(makeFolder("disk"), "size=0,nr_inodes=0",
                           [&] { EXPECT_EQ(check("disk"), 0); });
}

} // namespace
} // namespace connector::file_common::v1
