#include "FileServiceTest.h"
#include "support/SmallTmpfs.h"

#include <fstream>
#include <map>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace connector::file::v1::test {
namespace {

using connector::test::onTmpfs;
using connector::test::snapshot;

/// Sends one path through every operation, each on a fresh tree whose folder `inner` is the current
/// one. Only for a child process, as it changes its current folder.
class EveryOperation {
public:
  explicit EveryOperation(std::filesystem::path top, std::filesystem::path inner = "in")
      : top_(std::move(top))
      , inner_(std::move(inner)) {}

  /// A word per operation, in the order of the calls: as outcomeOf, with "did" for an "ok" that
  /// changed the disk and "!" behind a failure that did.
  std::string outcomes(const ustring& path) {
    words_.clear();
    add([&] { return service_.create(fileAt(path, "new"), false); });
    add([&] { return service_.create(fileAt(path, "new"), true); });
    add([&] { return service_.create(File(FileInfo(path, true)), true); });
    add([&] { return service_.openOrCreate(path); });
    add([&] { return service_.open(path); });
    add([&] { return service_.read(path); });
    add([&] { return service_.update(fileAt(path, "new")); });
    add([&] { return service_.close(path); });
    add([&] { return service_.rename(path, u"fresh"); });
    add([&] { return service_.rename(u"file", path); });
    add([&] { return service_.move(path, u"box"); });
    add([&] { return service_.move(u"file", path); });
    add([&] { return service_.remove(path); });
    add([&] { return service_.info(path); });
    add([&] { return service_.list(path); });
    add([&] { return service_.exists(fl::filesystem::upath(path)); });
    return words_;
  }

private:
  template <typename Call>
  void add(const Call& call) {
    static const std::map<std::string, std::string> shortForms = {
        {"FILE_NAME_NOT_SUPPORTED", "name"},
        {"FILE_NOT_FOUND", "gone"},
        {"FILE_EXISTS", "there"},
        {"FILE_ACCESS_DENIED", "deny"},
        {"FOLDER_ACCESS_DENIED", "folder"},
        {"FILE_IO_GENERIC", "io"}};
    makeTree();
    const auto before = snapshot(top_);
    std::string word = outcomeOf(call);
    if (shortForms.count(word) != 0)
      word = shortForms.at(word);
    if (snapshot(top_) != before)
      word = word == "ok" ? "did" : word + "!";
    words_ += words_.empty() ? word : " " + word;
  }

  void makeTree() const {
    namespace fs = std::filesystem;
    for (const auto& entry : fs::directory_iterator(top_))
      fs::remove_all(entry);
    fs::create_directory(top_ / inner_);
    fs::current_path(top_ / inner_);
    fs::create_directory("box");
    fs::create_directory("folder");
    std::ofstream("folder/inner") << "x";
    std::ofstream("file") << "old";
    fs::create_symlink("nowhere", "dangling");
    fs::create_symlink(".loop", ".loop");
    ASSERT_EQ(::mkfifo("fifo", 0600), 0);
    sockaddr_un address{AF_UNIX, "socket"};
    const int server = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-cstyle-cast, *-reinterpret-cast): the C interface
    ASSERT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(server);
  }

  std::filesystem::path top_;
  std::filesystem::path inner_;
  FileServiceImpl service_;
  std::string words_;
};

struct Row {
  ustring path;
  const char* outcomes;
};

// create: new, over, folder; openOrCreate, open, read; update, close(path); rename: from, to;
// move: from, to; remove; info, list, exists. 6 is "no such device", 16 busy, 17 exists, 20 no
// folder, 21 a folder, 22 invalid, 36 too long, 40 a loop, 84 no bytes, 95 not supported.
const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {u"", "there there there deny name plain io ok name name name name name ok ok no"},
      {u"a\nb", "name name name name name plain name ok name name name name name ok name no"},
      {ustring(u"a\0b", 3), "84 84 84 84 84 84 84 84 84 84 84 84 name 84 84 84"},
      {u"a\xD800", "84 84 84 84 84 84 84 84 84 84 84 84 84 84 84 84"},
      {ustring(256, u'n'), "36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36"},
      {ustring(4100, u'/') + u"n", "36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36"},
      {u".loop", "there there there deny plain plain deny ok deny there did 40 did ok ok ok"},
      {u".loop/x", "40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40"},
      {u".", "there there there io gone plain io ok 16 there there there 22 ok ok ok"},
      {u"..", "there there there io gone plain io ok 16 there there did 22 ok ok ok"},
      {u"file/", "21 21 17 21 gone plain gone ok gone 17 gone gone gone ok gone no"},
      {u"fresh/", "21 21 did 21 gone plain gone ok gone 20 gone gone gone ok gone no"},
      {u"folder//", "there there there io gone plain io ok did there did did did ok ok ok"},
      {u"file/x", "folder folder 20 folder gone plain gone ok gone 20 gone gone gone ok gone no"},
      {u"file/x/y", "20 20 20 folder gone plain gone ok gone 20 gone gone gone ok gone no"},
      {u"no/x/y", "did did did folder gone plain gone ok gone did gone gone gone ok gone no"},
      {u"dangling", "did did 17 did gone plain gone ok gone 17 gone gone gone ok gone no"},
      {u"dangling/x", "17 17 17 folder gone plain gone ok gone 17 gone gone gone ok gone no"},
      {u"fifo", "there there there plain plain plain 6 ok did there 95 20 did ok ok ok"},
      {u"socket", "there there there plain plain plain 6 ok did there 95 20 did ok ok ok"},
  };
  return all;
}

using Paths = FileServiceTest;

TEST_F(Paths, OfEveryKindEndTheSameInEachOperationAndFailuresLeaveTheDisk) {
  connector::test::inChildProcess([this] {
    EveryOperation every(folder());
    for (const Row& row : rows())
      EXPECT_EQ(every.outcomes(row.path), row.outcomes) << testing::PrintToString(row.path);
  });
}

TEST_F(Paths, AreCheckedAsTheyWereReceivedOrAsAbsoluteOnes) {
  connector::test::inChildProcess([this] {
    EveryOperation every(folder(), "not\na\nname");
    EXPECT_EQ(every.outcomes(u"file"),
              "name name name name ok ok name ok did there did 20 did ok name ok");
  });
}

// In a root folder of its own, so that a fault costs the test's files and no others.
TEST_F(Paths, TheRootIsAFolderThatNothingRemoves) {
  onTmpfs(folder(), "size=1m", [this] {
    ASSERT_EQ(::chroot(folder().c_str()), 0);
    EveryOperation every("/");
    EXPECT_EQ(every.outcomes(u"/"),
              "there there there io gone plain io ok 16 there there did 22 ok ok ok");
  });
}

} // namespace
} // namespace connector::file::v1::test
