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

  /// A column of five characters per operation, in the order of the calls: as outcomeOf, with "did"
  /// for an "ok" that changed the disk and "!" after a failure that did.
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
        {"FILE_EXISTS", "dup"},
        {"FILE_ACCESS_DENIED", "deny"},
        {"FOLDER_ACCESS_DENIED", "dir"},
        {"FILE_IO_GENERIC", "io"},
        {"plain", "bare"}};
    makeTree();
    const auto before = snapshot(top_);
    std::string word = outcomeOf(call);
    if (shortForms.count(word) != 0) {
      word = shortForms.at(word);
    }
    if (snapshot(top_) != before) {
      word = word == "ok" ? "did" : word + "!";
    }
    words_.resize((words_.size() + 4) / 5 * 5, ' ');
    words_ += word;
  }

  void makeTree() const {
    namespace fs = std::filesystem;
    for (const auto& entry : fs::directory_iterator(top_)) {
      fs::remove_all(entry);
    }
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

const ustring WITH_NUL(u"a\0b", 3);
const ustring LONG_NAME(256, u'n');
const ustring LONG_PATH = ustring(4100, u'/') + u"n";

struct Row {
  const char* outcomes; // of each operation, as in the head of the table
  ustring path;
};

// "dup" is FILE_EXISTS, "dir" FOLDER_ACCESS_DENIED, "bare" a plain runtime_error. Codes: 6 no such
// device, 16 busy, 17 exists, 20 not a directory, 21 a directory, 22 invalid, 36 too long, 40 a
// loop, 84 no bytes, 95 not supported.
const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      // create         OrCr                     rename    move
      // new  over dir  open open read upd. clos from to   from to   rem. info list exists
      {"dup  dup  dup  deny name bare io   ok   name name name name name ok   ok   no", u""},
      {"name name name name name bare name ok   name name name name name ok   name no", u"a\nb"},
      {"84   84   84   84   84   84   84   84   84   84   84   84   name 84   84   84", WITH_NUL},
      {"84   84   84   84   84   84   84   84   84   84   84   84   84   84   84   84", u"a\xD800"},
      {"36   36   36   36   36   36   36   36   36   36   36   36   36   36   36   36", LONG_NAME},
      {"36   36   36   36   36   36   36   36   36   36   36   36   36   36   36   36", LONG_PATH},
      {"dup  dup  dup  deny bare bare deny ok   deny dup  did  40   did  ok   ok   ok", u".loop"},
      {"40   40   40   40   40   40   40   40   40   40   40   40   40   40   40   40", u".loop/x"},
      {"dup  dup  dup  io   gone bare io   ok   16   dup  dup  dup  22   ok   ok   ok", u"."},
      {"dup  dup  dup  io   gone bare io   ok   16   dup  dup  did  22   ok   ok   ok", u".."},
      {"21   21   17   21   gone bare gone ok   gone 17   gone gone gone ok   gone no", u"file/"},
      {"21   21   did  21   gone bare gone ok   gone 20   gone gone gone ok   gone no", u"fresh/"},
      {"dup  dup  dup  io   gone bare io   ok   did  dup  did  did  did  ok   ok   ok",
       u"folder//"},
      {"dir  dir  20   dir  gone bare gone ok   gone 20   gone gone gone ok   gone no", u"file/x"},
      {"20   20   20   dir  gone bare gone ok   gone 20   gone gone gone ok   gone no",
       u"file/x/y"},
      {"did  did  did  dir  gone bare gone ok   gone did  gone gone gone ok   gone no", u"no/x/y"},
      {"did  did  17   did  gone bare gone ok   gone 17   gone gone gone ok   gone no",
       u"dangling"},
      {"17   17   17   dir  gone bare gone ok   gone 17   gone gone gone ok   gone no",
       u"dangling/x"},
      {"dup  dup  dup  bare bare bare 6    ok   did  dup  95   20   did  ok   ok   ok", u"fifo"},
      {"dup  dup  dup  bare bare bare 6    ok   did  dup  95   20   did  ok   ok   ok", u"socket"},
  };
  return all;
}

using Paths = FileServiceTest;

TEST_F(Paths, OfEveryKindEndTheSameInEachOperationAndFailuresLeaveTheDisk) {
  connector::test::inChildProcess([this] {
    EveryOperation every(folder());
    for (const Row& row : rows()) {
      EXPECT_EQ(every.outcomes(row.path), row.outcomes) << testing::PrintToString(row.path);
    }
  });
}

TEST_F(Paths, AreCheckedAsTheyWereReceivedOrAsAbsoluteOnes) {
  connector::test::inChildProcess([this] {
    EveryOperation every(folder(), "not\na\nname");
    EXPECT_EQ(every.outcomes(u"file"),
              "name name name name ok   ok   name ok   did  dup  did  20   did  ok   name ok");
  });
}

// In a root folder of its own, so that a fault costs the test's files and no others.
TEST_F(Paths, TheRootIsAFolderThatNothingRemoves) {
  onTmpfs(folder(), "size=1m", [this] {
    ASSERT_EQ(::chroot(folder().c_str()), 0);
    EveryOperation every("/");
    EXPECT_EQ(every.outcomes(u"/"),
              "dup  dup  dup  io   gone bare io   ok   16   dup  dup  did  22   ok   ok   ok");
  });
}

} // namespace
} // namespace connector::file::v1::test
