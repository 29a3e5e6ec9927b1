#include "Failure.h"
#include "support/OpenDescriptors.h"
#include "support/ScratchFolder.h"
#include "support/Unprivileged.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fl::filesystem::test {
namespace {

using connector::test::openDescriptors;

class Copy : public connector::test::ScratchFolder {
protected:
  static void copyFile(const std::u16string& from, const std::u16string& to) {
    copy(from, to, copy_option::fail_if_exists);
  }

  void expectRefusal(const std::u16string& from, const std::u16string& to,
                     const Failure& expected) {
    const auto before = disk();
    const auto descriptors = openDescriptors();
    EXPECT_EQ(failureOf([&] { copyFile(from, to); }), expected);
    EXPECT_EQ(disk(), before);
    EXPECT_EQ(openDescriptors(), descriptors);
  }
};

TEST_F(Copy, LendsSetUserIdToNoOtherOwner) {
  using std::filesystem::perms;
  std::filesystem::permissions(writeFile("source"), perms{06755});
  std::filesystem::permissions(makeFolder("open"), perms::all);
  copyFile(textAt("source"), textAt("own"));
  EXPECT_EQ(std::filesystem::status(at("own")).permissions(), perms{06755});
  const bool root = ::geteuid() == 0;
  connector::test::asUnprivilegedUser([&] {
    copyFile(textAt("source"), textAt("open/target"));
    EXPECT_EQ(std::filesystem::status(at("open/target")).permissions(),
              root ? perms{0755} : perms{06755});
  });
}

TEST_F(Copy, RefusesSpecialFilesAndTakenTargetsAndNamesThePathAtFault) {
  writeFile("source", "new");
  makeFolder("folder");
  std::filesystem::create_symlink("nowhere", at("dangling"));
  for (const char* target : {"source", "folder", "dangling"}) {
    expectRefusal(textAt("source"), textAt(target),
                  failure<FileExistsError>(EEXIST, textAt(target)));
  }
  ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
  const std::u16string target = textAt("target");
  expectRefusal(textAt("nothing"), target, failure<PathNotFound>(ENOENT, textAt("nothing")));
  expectRefusal(textAt("folder"), target, failure<SystemError>(EISDIR, textAt("folder")));
  expectRefusal(textAt("fifo"), target, failure<SystemError>(EOPNOTSUPP, textAt("fifo")));
  expectRefusal(u"/dev/null", target, failure<SystemError>(EOPNOTSUPP, u"/dev/null"));
}

} // namespace
} // namespace fl::filesystem::test
