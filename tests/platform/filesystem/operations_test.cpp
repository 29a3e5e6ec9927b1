#include "Failure.h"
#include "support/ScratchFolder.h"
#include "support/Unprivileged.h"

#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>

namespace fl::filesystem::test {
namespace {

using connector::test::asUnprivilegedUser;

class Operations : public connector::test::ScratchFolder {
protected:
  template <typename Call>
  void expectRefusal(const Call& call, const Failure& expected) {
    const auto before = disk();
    EXPECT_EQ(failureOf(call), expected);
    EXPECT_EQ(disk(), before);
  }
};

TEST_F(Operations, CreateDirectoryMakesOneNewFolderOnly) {
  create_directory(textAt("new"));
  EXPECT_TRUE(std::filesystem::is_directory(at("new")));
  expectRefusal([&] { create_directory(textAt("new")); },
                failure<FileExistsError>(EEXIST, textAt("new")));
  expectRefusal([&] { create_directory(textAt("a/b")); },
                failure<PathNotFound>(ENOENT, textAt("a/b")));
}

TEST_F(Operations, CreateDirectoriesMakesWhatIsMissingAndKeepsWhatIsThere) {
  writeFile(makeFolder("a") / "file", "kept");
  std::filesystem::create_directory_symlink("a", at("link"));
  for (const char* path : {"a/b/c", "a/b/c", "a//d///e/", "a/f/./../g", "link/h"}) {
    create_directories(textAt(path));
  }
  for (const char* path : {"a/b/c", "a/d/e", "a/f", "a/g", "a/h"}) {
    EXPECT_TRUE(std::filesystem::is_directory(at(path))) << path;
  }
  EXPECT_EQ(readFile("a/file"), "kept");
  create_directories(u"/");
}

TEST_F(Operations, CreateDirectoriesRefusesWhatIsNoFolder) {
  writeFile("file");
  std::filesystem::create_symlink("nowhere", at("dangling"));
  expectRefusal([&] { create_directories(textAt("file")); },
                failure<FileExistsError>(EEXIST, textAt("file")));
  expectRefusal([&] { create_directories(textAt("file/a/b")); },
                failure<NotDirectoryError>(ENOTDIR, textAt("file/a/b")));
  expectRefusal([&] { create_directories(textAt("dangling")); },
                failure<FileExistsError>(EEXIST, textAt("dangling")));
  expectRefusal([] { create_directories(u""); }, failure<PathNotFound>(ENOENT, u""));
}

TEST_F(Operations, CreateDirectoriesPassesAncestorsThatOnlyRootMayWrite) {
  makeFolder("sealed/open");
  ASSERT_EQ(::chmod(at("sealed/open").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(at("sealed").c_str(), 0555), 0);
  asUnprivilegedUser([&] {
    create_directories(textAt("sealed/open/a/b"));
    EXPECT_TRUE(std::filesystem::is_directory(at("sealed/open/a/b")));
    expectRefusal([&] { create_directories(textAt("sealed/other/a")); },
                  failure<AccessDenied>(EACCES, textAt("sealed/other/a")));
  });
}

TEST_F(Operations, RenameReplacesAFileAndNamesThePathThatIsInTheWay) {
  writeFile("a", "new");
  writeFile("b", "old");
  rename(textAt("a"), textAt("b"), {});
  EXPECT_EQ(disk(), (std::map<std::string, std::string>{{"b", "new"}}));

  makeFolder("full/sub");
  makeFolder("empty");
  expectRefusal([&] { rename(textAt("empty"), textAt("full"), {}); },
                failure<DirectoryNotEmpty>(ENOTEMPTY, textAt("full")));
  expectRefusal([&] { rename(textAt("b"), textAt("empty"), {}); },
                failure<SystemError>(EISDIR, textAt("empty")));
  expectRefusal([&] { rename(textAt("nothing"), textAt("c"), {}); },
                failure<PathNotFound>(ENOENT, textAt("nothing")));
}

TEST_F(Operations, RemoveTakesAFileALinkItselfOrAnEmptyFolder) {
  writeFile("file", "kept");
  writeFile("other");
  makeFolder("folder");
  makeFolder("full/sub");
  std::filesystem::create_symlink("file", at("link"));
  std::filesystem::create_directory_symlink("full", at("folderlink"));
  for (const char* name : {"other", "folder", "link", "folderlink"}) {
    remove(textAt(name));
  }
  EXPECT_EQ(disk(), (std::map<std::string, std::string>{
                        {"file", "kept"}, {"full", "/"}, {"full/sub", "/"}}));
  expectRefusal([&] { remove(textAt("full")); },
                failure<DirectoryNotEmpty>(ENOTEMPTY, textAt("full")));
  expectRefusal([&] { remove(textAt("nothing")); },
                failure<PathNotFound>(ENOENT, textAt("nothing")));
}

} // namespace
} // namespace fl::filesystem::test
