#include "FileServiceTest.h"
#include "support/Unprivileged.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <sys/inotify.h>
#include <thread>

namespace connector::file::v1::test {
namespace {

using connector::test::asUnprivilegedUser;
using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

using RemoveAndList = FileServiceTest;

/// Counts how often a folder is opened.
class OpenCounter {
public:
  explicit OpenCounter(const std::filesystem::path& folder)
      : events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    // Closing keeps the openings apart: equal events in a row become one.
    ::inotify_add_watch(events_, folder.c_str(), IN_OPEN | IN_CLOSE_NOWRITE);
  }

  OpenCounter(const OpenCounter&) = delete;
  OpenCounter& operator=(const OpenCounter&) = delete;

  ~OpenCounter() { ::close(events_); }

  [[nodiscard]] auto count() const {
    std::array<inotify_event, 1000> events{};
    static_cast<void>(::read(events_, events.data(), sizeof events));
    return std::count_if(events.begin(), events.end(),
                         [](const inotify_event& event) { return (event.mask & IN_OPEN) != 0; });
  }

private:
  int events_;
};

TEST_F(RemoveAndList, RemoveTakesAFileALinkOrAWholeTree) {
  writeFile("file", "1");
  writeFile("kept/file", "2");
  writeFile("tree/.hidden/x", "3");
  std::filesystem::create_directory_symlink("../kept", at("tree/inside"));
  std::filesystem::create_directory_symlink("kept", at("link"));
  for (const char* name : {"file", "tree", "link"}) {
    const FileInfo removed = service->remove(textAt(name)).get();
    EXPECT_EQ(removed.getLocation(), textAt(name));
    EXPECT_FALSE(removed.isDirectory());
    EXPECT_TRUE(attribute<bool>(removed, FileAttributes::DELETED));
  }
  EXPECT_THAT(disk(), ElementsAre(Pair("kept", "/"), Pair("kept/file", "2")));
}

TEST_F(RemoveAndList, RemoveGivesUpAfterTheHundredthRetry) {
  ASSERT_EQ(::chmod(folder().c_str(), 0777), 0);
  asUnprivilegedUser([this] {
    writeFile("locked/file", "kept");
    ASSERT_EQ(::chmod(at("locked").c_str(), 0555), 0);
    OpenCounter attempts(at("locked"));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(service->remove(textAt("locked")), fl::filesystem::AccessDenied);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(attempts.count(), 101);
    EXPECT_EQ(readFile("locked/file"), "kept");
  });
}

TEST_F(RemoveAndList, RemoveRidesOutAFailureThatPasses) {
  ASSERT_EQ(::chmod(folder().c_str(), 0777), 0);
  asUnprivilegedUser([this] {
    writeFile("locked/file", "x");
    ASSERT_EQ(::chmod(at("locked").c_str(), 0555), 0);
    OpenCounter attempts(at("locked"));
    std::thread unlock([this] {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      ::chmod(at("locked").c_str(), 0755);
    });
    const FileInfo removed = service->remove(textAt("locked")).get();
    unlock.join();
    EXPECT_TRUE(attribute<bool>(removed, FileAttributes::DELETED));
    EXPECT_FALSE(std::filesystem::exists(at("locked")));
    EXPECT_GT(attempts.count(), 1);
  });
}

TEST_F(RemoveAndList, ListShowsAllButHiddenEntriesWithTheirDescription) {
  writeFile("folder/x", "1");
  writeFile("folder/.hidden", "22");
  writeFile("folder/ordinary", "333");
  writeFile("folder/sub/deeper", "4444");
  std::filesystem::create_symlink("ordinary", at("folder/link"));
  std::filesystem::create_symlink("nowhere", at("folder/dangling"));
  std::vector<std::string> listed;
  for (const FileInfo& info : service->list(textAt("folder")).get()) {
    EXPECT_EQ(info.getLocation(), textAt("folder/") + info.getName());
    listed.push_back(std::filesystem::path(info.getName()).string() + ' ' +
                     (info.isDirectory()
                          ? "/"
                          : std::to_string(attribute<std::uint64_t>(info, FileAttributes::SIZE))) +
                     (attribute<bool>(info, FileAttributes::DELETED) ? " deleted" : ""));
  }
  EXPECT_THAT(listed,
              UnorderedElementsAre("x 1", "ordinary 3", "sub /", "link 3", "dangling 0 deleted"));
  EXPECT_TRUE(service->list(textAt("folder/x")).get().empty());
  EXPECT_TRUE(service->list(makeFolder("empty").u16string()).get().empty());
}

TEST_F(RemoveAndList, AFolderThatCannotBeReadIsNoEmptyList) {
  writeFile("unreadable/file");
  ASSERT_EQ(::chmod(at("unreadable").c_str(), 0311), 0);
  std::filesystem::create_symlink("loop", makeFolder("looping") / "loop");
  asUnprivilegedUser(
      [this] { EXPECT_THROW(service->list(textAt("unreadable")), fl::filesystem::AccessDenied); });
  EXPECT_EQ(outcomeOf([this] { return service->list(textAt("looping")); }), std::to_string(ELOOP));
}

} // namespace
} // namespace connector::file::v1::test
