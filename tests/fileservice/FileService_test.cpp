#include "support/ChildProcess.h"
#include "support/FileContents.h"
#include "support/Machine.h"
#include "support/ScratchDirectory.h"

#include <connector/file/v1/FileServiceException.h>
#include <connector/file/v1/FileServiceImpl.h>

#include <fl/filesystem/exceptions.h>
#include <fl/i18n/convert.h>

#include <Poco/String.h>
#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <type_traits>
#include <utility>
#include <vector>

namespace connector::file::v1::test {
namespace {

using connector::test::inChildProcess;
using connector::test::onTmpfs;
using connector::test::snapshot;
using testing::ElementsAre;
using testing::Pair;

/// Returns "ok", or "false" for the result false. For a failure, returns the refusal's condition,
/// the name of the platform's error code, or "runtime_error".
template <typename Call>
std::string outcomeOf(const Call& call) {
  try {
    auto future = call();
    if constexpr (std::is_same_v<decltype(future), Future<bool>>) {
      return future.get() ? "ok" : "false";
    }
    future.get();
    return "ok";
  } catch (const FileServiceException& refusal) {
    const std::string what = "An error occurred in the fileservice, " + refusal.getId() + " " +
                             fl::i18n::to_string(refusal.getMessage(), {"UTF-8", true});
    EXPECT_STREQ(refusal.what(), what.c_str());
    return refusal.getCondition();
  } catch (const fl::filesystem::FsysExceptionBase& error) {
    return strerrorname_np(static_cast<int>(error.get_error_code()));
  } catch (const std::runtime_error&) {
    return "runtime_error";
  }
}

File fileAt(const ustring& location, std::string_view contents = {}) {
  return {FileInfo(location, false), connector::test::bufferOf(contents)};
}

/// Records the calls that reach it. Calls that create or move the path `failing` fail.
class RecordingService : public FileServiceImpl {
public:
  RecordingService() {
    failure.setException(std::make_exception_ptr(std::runtime_error("scripted")));
  }

  Future<FileInfo> create(File&& file, bool overwrite) override {
    const ustring path = file.getFileInfo().getLocation();
    const ustring kind = file.getFileInfo().isDirectory() ? u"directory " : u"file ";
    calls.push_back(u"create " + kind + path + (overwrite ? u" over" : u""));
    return path == failing ? failure.getFuture()
                           : FileServiceImpl::create(std::move(file), overwrite);
  }

  Future<File> read(const ustring& path) override {
    calls.push_back(u"read " + path);
    return FileServiceImpl::read(path);
  }

  Future<FileInfo> update(File&& file) override {
    calls.push_back(u"update " + file.getFileInfo().getLocation());
    return FileServiceImpl::update(std::move(file));
  }

  Future<FileInfo> move(const ustring& from, const ustring& to) override {
    calls.push_back(u"move " + from + u" " + to);
    return from == failing ? failure.getFuture() : FileServiceImpl::move(from, to);
  }

  std::vector<ustring> calls;
  ustring failing = u"nothing";
  Promise<FileInfo> failure;
};

using Operations = connector::test::ScratchDirectory;

// A child process changes its current directory, so that received and absolute paths differ.
TEST_F(Operations, CallEachOtherThroughTheirVirtualFunctions) {
  writeFile("tree/sub/inner", "1");
  makeDirectory("box");
  inChildProcess([this] {
    std::filesystem::current_path(directory());
    RecordingService service;
    const auto expectSuccess = [](const auto& future) { EXPECT_FALSE(future.hasException()); };
    expectSuccess(service.create(fileAt(u"a/b/c.txt", "1"), true));
    expectSuccess(service.close(fileAt(u"a/b/c.txt", "2")));
    expectSuccess(service.open(u"a/b/c.txt"));
    expectSuccess(service.openOrCreate(u"a/b/c.txt"));
    expectSuccess(service.openOrCreate(u"new"));
    expectSuccess(service.move(u"tree", u"box"));
    const ustring root = textAt("");
    EXPECT_THAT(service.calls,
                ElementsAre(u"create file a/b/c.txt over", u"create directory " + root + u"a/b",
                            u"create directory " + root + u"a", u"update a/b/c.txt",
                            u"read a/b/c.txt", u"read a/b/c.txt", u"read new", u"move tree box",
                            u"move " + root + u"tree/sub " + root + u"box/tree",
                            u"move " + root + u"tree/sub/inner " + root + u"box/tree/sub"));
  });
}

TEST_F(Operations, ReturnTheFailedFutureOfAnInnerCall) {
  writeFile("tree/sub/bad", "1");
  makeDirectory("box");
  RecordingService service;
  const auto failed = service.failure.getFuture().state();
  service.failing = textAt("a/b");
  EXPECT_EQ(service.create(fileAt(textAt("a/b/c/d")), false).state(), failed);
  service.failing = textAt("tree/sub/bad");
  EXPECT_EQ(service.move(textAt("tree"), textAt("box")).state(), failed);
  EXPECT_THAT(disk(),
              ElementsAre(Pair("box", "/"), Pair("box/tree", "/"), Pair("box/tree/sub", "/"),
                          Pair("tree", "/"), Pair("tree/sub", "/"), Pair("tree/sub/bad", "1")));
}

TEST_F(Operations, ReadReportsADirectoryAndLackOfMemory) {
  if (connector::test::SANITIZED) {
    GTEST_SKIP() << "a sanitizer ends the process when memory runs out";
  }
  std::filesystem::resize_file(writeFile("big"), 19'999'999);
  const auto expectThrown = [](const ustring& path, const std::string& text) {
    const auto read = [&path] { FileServiceImpl().read(path).get(); };
    EXPECT_THAT(read, testing::ThrowsMessage<std::runtime_error>(text));
  };
  expectThrown(u".", "Error creating or reading file: '.'."); // the path as it was received
  inChildProcess([&] {
    const rlimit little{1, 1};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &little), 0);
    expectThrown(textAt("big"), "Out of memory!");
  });
}

TEST_F(Operations, RefuseChangesOfAReadOnlyFileSystem) {
  onTmpfs(directory(), "", [this] {
    writeFile("old");
    ASSERT_EQ(::mount(nullptr, directory().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    FileServiceImpl service;
    const auto update = [&] { return service.update(fileAt(textAt("old"))); };
    const auto create = [&] { return service.openOrCreate(textAt("new")); };
    EXPECT_EQ(outcomeOf(update), "FILE_ACCESS_DENIED");
    EXPECT_EQ(outcomeOf(create), "FOLDER_ACCESS_DENIED");
  });
}

TEST_F(Operations, GetPtrThrowsUnlessASharedPtrOwnsTheService) {
  const auto service = std::make_shared<FileServiceImpl>();
  EXPECT_EQ(service->getPtr(), service);
  EXPECT_THROW(FileServiceImpl().getPtr(), std::bad_weak_ptr);
}

/// Parses a text such as "EBUSY: rename move, ok: others" into pairs of operation and outcome. The
/// last outcome of an operation counts; "others" are the operations without one.
std::map<std::string, std::string> outcomesIn(const std::string& text) {
  std::map<std::string, std::string> outcomes;
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

/// Passes one path to every operation, each on a new tree whose directory `inner` is the
/// current one. Only for a child process, because it changes the current directory.
class EveryOperation {
public:
  explicit EveryOperation(std::filesystem::path top, std::filesystem::path inner = "in")
      : top_(std::move(top))
      , inner_(std::move(inner)) {}

  void expect(const ustring& path, const std::string& text) const {
    const auto outcomes = outcomesIn(text);
    SCOPED_TRACE(testing::PrintToString(path));
    FileServiceImpl service;
    const auto check = [&](const char* operation, const auto& call) {
      const auto found = outcomes.find(operation);
      EXPECT_EQ(outcomeAndChange(call),
                found != outcomes.end() ? found->second : outcomes.at("others"))
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
  /// Returns the outcome of the call, with "changed" in place of "ok" if the disk changed.
  template <typename Call>
  std::string outcomeAndChange(const Call& call) const {
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
    ASSERT_EQ(::mknod("socket", S_IFSOCK | 0600U, 0), 0);
  }

  std::filesystem::path top_;
  std::filesystem::path inner_;
};

// The outcomes for each kind of path. A row of the table appends those in which its path differs.
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

using Paths = connector::test::ScratchDirectory;

TEST_F(Paths, HaveTheirOutcomeInEachOperation) {
  inChildProcess([this] {
    for (const auto& [path, outcomes] : table()) {
      EveryOperation(directory()).expect(path, outcomes);
    }
  });
}

// The current directory has an invalid name, which makes every absolute path invalid.
TEST_F(Paths, AreCheckedAsReceivedOrAsAbsolute) {
  inChildProcess([this] {
    EveryOperation(directory(), "not\na\nname")
        .expect(u"file", "FILE_NAME_NOT_SUPPORTED: others, ok: open read close info exists, "
                         "changed: rename move remove, FILE_EXISTS: renameTo, ENOTDIR: moveTo");
  });
}

// Runs in a root directory of its own, so that an error deletes only the test's files.
TEST_F(Paths, KeepTheRootDirectory) {
  onTmpfs(directory(), "size=1m", [this] {
    ASSERT_EQ(::chroot(directory().c_str()), 0);
    EveryOperation("/").expect(u"/", IN_USE);
  });
}

} // namespace
} // namespace connector::file::v1::test
