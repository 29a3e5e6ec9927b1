#include "FileServiceTest.h"

namespace connector::file::v1::test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t MOST_FILES = 2000;

using Files = std::map<std::string, std::string>;
using Listing = std::map<ustring, std::uint64_t>;

/// Relative path to contents of up to MOST_FILES files, without what a folder move leaves behind.
Files filesBeneath(const fs::path& root) {
  Files files;
  for (fs::recursive_directory_iterator entry(root), end; entry != end && files.size() < MOST_FILES;
       ++entry) {
    const ustring name = entry->path().filename().u16string();
    if (name.size() < 2 || name.front() == u'.') {
      entry.disable_recursion_pending();
      continue;
    }
    std::ifstream file(entry->path(), std::ios::binary);
    if (fs::is_regular_file(entry->symlink_status()) && file) {
      files[entry->path().lexically_relative(root).string()] = {
          std::istreambuf_iterator<char>(file), {}};
    }
  }
  return files;
}

/// Path and size of everything that the service lists, level by level.
void listThrough(FileService& service, const ustring& folder, Listing& found) {
  for (const FileInfo& info : service.list(folder).get()) {
    found[info.getLocation()] =
        info.isDirectory() ? 0 : attribute<std::uint64_t>(info, FileAttributes::SIZE);
    if (info.isDirectory())
      listThrough(service, info.getLocation(), found);
  }
}

Listing listDirectly(const fs::path& folder) {
  Listing found;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    found[entry.path().u16string()] = entry.is_directory() ? 0 : entry.file_size();
  return found;
}

class RealTree : public FileServiceTest {
protected:
  void expectTree(const std::filesystem::path& where, const Files& expected) const {
    Listing listed;
    listThrough(*service, where.u16string(), listed);
    EXPECT_EQ(listed, listDirectly(where));
    EXPECT_TRUE(filesBeneath(where) == expected); // too much to print
  }
};

TEST_F(RealTree, IsCreatedListedMovedAndRemovedWithNothingLostOrLeftOver) {
  const Files files = filesBeneath("/usr/include");
  ASSERT_GT(files.size(), 100);
  for (const auto& [path, contents] : files)
    service->create(fileAt(textAt("tree/" + path), contents), false).get();
  expectTree(at("tree"), files);
  makeFolder("box");
  service->move(textAt("tree"), textAt("box")).get();
  expectTree(at("box/tree"), files);
  EXPECT_FALSE(fs::exists(at("tree")));
  service->remove(textAt("box/tree")).get();
  EXPECT_TRUE(fs::is_empty(at("box")));
}

} // namespace
} // namespace connector::file::v1::test
