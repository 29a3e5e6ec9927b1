#include "FileServiceTest.h"
#include "support/Unprivileged.h"

#include <cerrno>
#include <chrono>

namespace connector::file::v1::test {
namespace {

using RemoveAndList = FileServiceTest;

TEST_F(RemoveAndList, RemoveTriesForASecondAndThenPassesTheFailureOn) {
  writeFile("locked/file", "kept");
  ASSERT_EQ(::chmod(at("locked").c_str(), 0555), 0);
  connector::test::asUnprivilegedUser([this] {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(service->remove(textAt("locked")), fl::filesystem::AccessDenied);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  });
  EXPECT_EQ(readFile("locked/file"), "kept");
}

TEST_F(RemoveAndList, ListShowsAllButHiddenEntriesWithTheirDescription) {
  writeFile("folder/x", "1");
  writeFile("folder/.hidden", "22");
  writeFile("folder/caf\xE9", "333");
  writeFile("folder/sub/deeper", "4444");
  std::filesystem::create_symlink("caf\xE9", at("folder/link"));
  std::filesystem::create_symlink("nowhere", at("folder/dangling"));
  std::map<ustring, std::uint64_t> sizes;
  for (const FileInfo& info : service->list(textAt("folder")).get()) {
    EXPECT_EQ(info.getLocation(), textAt("folder/") + info.getName());
    EXPECT_EQ(info.isDirectory(), info.getName() == u"sub");
    EXPECT_EQ(attribute<bool>(info, FileAttributes::DELETED), info.getName() == u"dangling");
    sizes[info.getName()] = attribute<std::uint64_t>(info, FileAttributes::SIZE);
  }
  sizes.erase(u"sub"); // of whatever size the file system makes it
  EXPECT_THAT(sizes, testing::ElementsAre(std::pair(u"caf\uEFE9", 3), std::pair(u"dangling", 0),
                                          std::pair(u"link", 3), std::pair(u"x", 1)));
}

TEST_F(RemoveAndList, AnEntryThatCannotBeDescribedFailsTheList) {
  std::filesystem::create_symlink("loop", at("loop"));
  EXPECT_EQ(outcomeOf([this] { return service->list(root); }), std::to_string(ELOOP));
}

} // namespace
} // namespace connector::file::v1::test
