#include "FileServiceTest.h"

#include <Poco/String.h>

#include <fstream>
#include <map>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace connector::file::v1::test {
namespace {

using connector::test::onTmpfs;
using connector::test::snapshot;

/// Operation to outcome, as outcomeOf reports it; "changed" is an "ok" that changed the disk.
using Outcomes = std::map<std::string, std::string>;

/// From a text such as "EBUSY: rename move, ok: others", of which the last word on each operation
/// counts; "others" are those without one.
Outcomes outcomesIn(const std::string& text) {
  Outcomes outcomes;
  std::istringstream groups(text);
  for (std::string group; std::getline(groups, group, ',');) {
    const auto colon = group.find(':');
    std::istringstream operations(group.substr(colon + 1));
    for (std::string operation; operations >> operation;) {
      outcomes[operation] = Poco::trim(group.substr(0, colon));
    }
  }
  return outcomes;
}

/// Sends one path through every operation, each on a fresh tree whose directory `inner` is the
/// current one. Only for a child process, as it changes its current directory.
class EveryOperation {
public:
  explicit EveryOperation(std::filesystem::path top, std::filesystem::path inner = "in")
      : top_(std::move(top))
      , inner_(std::move(inner)) {}

  void expect(const ustring& path, const std::string& text) const {
    const Outcomes outcomes = outcomesIn(text);
    SCOPED_TRACE(testing::PrintToString(path));
    FileServiceImpl service;
    const auto check = [&](const char* operation, const auto& call) {
      const auto found = outcomes.find(operation);
      EXPECT_EQ(endOf(call), found != outcomes.end() ? found->second : outcomes.at("others"))
          << operation;
    };
    check("create", [&] { return service.create(fileAt(path, "new"), false); });
    check("overwrite", [&] { return service.create(fileAt(path, "new"), true); });
    check("createDirectory", [&] { return service.create(File(FileInfo(path, true)), true); });
    check("openOrCreate", [&] { return service.openOrCreate(path); });
    check("open", [&] { return service.open(path); });
    check("read", [&] { return service.read(path); });
    check("update", [&] { return service.update(fileAt(path, "new")); });
    check("close", [&] { return service.close(path); });
    check("rename", [&] { return service.rename(path, u"fresh"); });
    check("renameTo", [&] { return service.rename(u"file", path); });
    check("move", [&] { return service.move(path, u"box"); });
    check("moveTo", [&] { return service.move(u"file", path); });
    check("remove", [&] { return service.remove(path); });
    check("info", [&] { return service.info(path); });
    check("list", [&] { return service.list(path); });
    check("exists", [&] { return service.exists(fl::filesystem::upath(path)); });
  }

private:
  template <typename Call>
  std::string endOf(const Call& call) const {
    makeTree();
    const auto before = snapshot(top_);
    std::string outcome = outcomeOf(call);
    if (snapshot(top_) == before) {
      return outcome;
    }
    return outcome == "ok" ? "changed" : outcome + " and changed";
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
};

// Kinds of paths. A row of the table adds its differences to its kind.
const std::string INVALID_NAME =
    "FILE_NAME_NOT_SUPPORTED: others, runtime_error: read, ok: close info, false: exists, ";
const std::string MISSING =
    "FILE_NOT_FOUND: others, runtime_error: read, ok: close info, false: exists, ";
const std::string DIRECTORY =
    "FILE_EXISTS: create overwrite createDirectory renameTo, FILE_IO_GENERIC: openOrCreate update, "
    "FILE_NOT_FOUND: open, runtime_error: read, changed: rename move moveTo remove, ok: others, ";
const std::string IN_USE = DIRECTORY + "EBUSY: rename, FILE_EXISTS: move, EINVAL: remove, ";
const std::string SPECIAL_FILE =
    "FILE_EXISTS: create overwrite createDirectory renameTo, runtime_error: openOrCreate open "
    "read, "
    "ENXIO: update, EOPNOTSUPP: move, ENOTDIR: moveTo, changed: rename remove, ok: others";

const std::vector<std::pair<ustring, std::string>>& table() {
  static const std::vector<std::pair<ustring, std::string>> rows = {
      {u"a\nb", INVALID_NAME},
      {u"", INVALID_NAME + "FILE_EXISTS: create overwrite createDirectory, ok: list, "
                           "FILE_ACCESS_DENIED: openOrCreate, FILE_IO_GENERIC: update"},
      {ustring(u"a\0b", 3), "EILSEQ: others, FILE_NAME_NOT_SUPPORTED: remove"},
      {u"a\xD800", "EILSEQ: others"},
      {ustring(256, u'n'), "ENAMETOOLONG: others"},
      {ustring(4100, u'/') + u"n", "ENAMETOOLONG: others"},
      {u".loop/x", "ELOOP: others"},
      {u".loop",
       "FILE_EXISTS: create overwrite createDirectory renameTo, runtime_error: open read, "
       "FILE_ACCESS_DENIED: openOrCreate update rename, changed: move remove, "
       "ELOOP: moveTo, ok: others"},
      {u".", IN_USE + "FILE_EXISTS: moveTo"},
      {u"..", IN_USE},
      {u"folder//", DIRECTORY},
      {u"fifo", SPECIAL_FILE},
      {u"socket", SPECIAL_FILE},
      {u"no/x/y", MISSING + "changed: create overwrite createDirectory renameTo, "
                            "FOLDER_ACCESS_DENIED: openOrCreate"},
      {u"file/x", MISSING + "FOLDER_ACCESS_DENIED: create overwrite openOrCreate, "
                            "ENOTDIR: createDirectory renameTo"},
      {u"file/x/y", MISSING + "ENOTDIR: create overwrite createDirectory renameTo, "
                              "FOLDER_ACCESS_DENIED: openOrCreate"},
      {u"file/",
       MISSING + "EISDIR: create overwrite openOrCreate, EEXIST: createDirectory renameTo"},
      {u"fresh/", MISSING + "EISDIR: create overwrite openOrCreate, changed: createDirectory, "
                            "ENOTDIR: renameTo"},
      {u"dangling", MISSING + "changed: create overwrite openOrCreate, "
                              "EEXIST: createDirectory renameTo"},
      {u"dangling/x", MISSING + "EEXIST: create overwrite createDirectory renameTo, "
                                "FOLDER_ACCESS_DENIED: openOrCreate"},
  };
  return rows;
}

using Paths = FileServiceTest;

TEST_F(Paths, EndTheSameInEachOperationAndFailuresLeaveTheDisk) {
  connector::test::inChildProcess([this] {
    for (const auto& [path, outcomes] : table()) {
      EveryOperation(folder()).expect(path, outcomes);
    }
  });
}

// The name of the current directory is invalid, and so is each absolute path.
TEST_F(Paths, AreCheckedAsReceivedOrAsAbsolute) {
  connector::test::inChildProcess([this] {
    EveryOperation(folder(), "not\na\nname")
        .expect(u"file", "FILE_NAME_NOT_SUPPORTED: others, ok: open read close info exists, "
                         "changed: rename move remove, FILE_EXISTS: renameTo, ENOTDIR: moveTo");
  });
}

// In a root directory of its own, so that a fault costs the test's files and no others.
TEST_F(Paths, RefuseToRemoveTheRoot) {
  onTmpfs(folder(), "size=1m", [this] {
    ASSERT_EQ(::chroot(folder().c_str()), 0);
    EveryOperation("/").expect(u"/", IN_USE);
  });
}

} // namespace
} // namespace connector::file::v1::test
