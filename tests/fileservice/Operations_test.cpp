#include "FileServiceTest.h"
#include "support/Machine.h"

#include <sys/resource.h>

namespace connector::file::v1::test {
namespace {

using connector::test::inChildProcess;
using testing::ElementsAre;
using testing::Pair;

/// Writes down the calls that reach it; lets the one about `failing` fail.
class RecordingService : public FileServiceImpl {
public:
  RecordingService() {
    failure.setException(std::make_exception_ptr(std::runtime_error("scripted")));
  }

  Future<FileInfo> create(File&& file, bool overwrite) override {
    const ustring path = file.getFileInfo().getLocation();
    const ustring kind = file.getFileInfo().isDirectory() ? u"folder " : u"file ";
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

class Operations : public FileServiceTest {
protected:
  /// The calls of `body`, which runs with the scratch folder as its current one, so that received
  /// and absolute paths differ.
  template <typename Body, typename... Calls>
  void expectCalls(const Body& body, const Calls&... calls) {
    inChildProcess([&] {
      std::filesystem::current_path(folder());
      RecordingService recording;
      body(recording);
      EXPECT_THAT(recording.calls, ElementsAre(calls...));
    });
  }

  const ustring root = folder().u16string() + u"/";
};

TEST_F(Operations, CallEachOtherThroughTheVirtualOnes) {
  writeFile("tree/sub/inner", "1");
  makeFolder("box");
  const auto run = [](RecordingService& recording) {
    const auto each = [&](const auto& future) { EXPECT_FALSE(future.hasException()); };
    each(recording.create(fileAt(u"a/b/c.txt", "1"), true));
    each(recording.close(fileAt(u"a/b/c.txt", "2")));
    each(recording.open(u"a/b/c.txt"));
    each(recording.openOrCreate(u"a/b/c.txt"));
    each(recording.openOrCreate(u"new"));
    each(recording.move(u"tree", u"box"));
  };
  expectCalls(run, u"create file a/b/c.txt over", u"create folder " + root + u"a/b",
              u"create folder " + root + u"a", u"update a/b/c.txt", u"read a/b/c.txt",
              u"read a/b/c.txt", u"read new", u"move tree box",
              u"move " + root + u"tree/sub " + root + u"box/tree",
              u"move " + root + u"tree/sub/inner " + root + u"box/tree/sub");
}

TEST_F(Operations, PassOnTheFailureOfACallAsItIs) {
  writeFile("tree/sub/bad", "1");
  makeFolder("box");
  RecordingService recording;
  const auto expectPassedOn = [&](const ustring& failing, const auto& call) {
    recording.failing = failing;
    EXPECT_EQ(call().state(), recording.failure.getFuture().state());
  };
  expectPassedOn(textAt("a/b"), [&] { return recording.create(fileAt(textAt("a/b/c/d")), false); });
  expectPassedOn(textAt("tree/sub/bad"),
                 [&] { return recording.move(textAt("tree"), textAt("box")); });
  EXPECT_THAT(disk(),
              ElementsAre(Pair("box", "/"), Pair("box/tree", "/"), Pair("box/tree/sub", "/"),
                          Pair("tree", "/"), Pair("tree/sub", "/"), Pair("tree/sub/bad", "1")));
}

TEST_F(Operations, ReadHasItsOwnTextsForNoFileAndForNoMemory) {
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

TEST_F(Operations, RefuseEachChangeOnAReadOnlyFileSystem) {
  connector::test::onTmpfs(folder(), "", [this] {
    writeFile("old");
    ASSERT_EQ(::mount(nullptr, folder().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    FileServiceImpl service;
    const std::vector<std::string> outcomes{
        outcomeOf([&] { return service.create(fileAt(textAt("old")), true); }),
        outcomeOf([&] { return service.update(fileAt(textAt("old"))); }),
        outcomeOf([&] { return service.rename(textAt("old"), textAt("new")); }),
        outcomeOf([&] { return service.openOrCreate(textAt("new")); })};
    EXPECT_THAT(outcomes, ElementsAre("FILE_ACCESS_DENIED", "FILE_ACCESS_DENIED",
                                      "FILE_ACCESS_DENIED", "FOLDER_ACCESS_DENIED"));
  });
}

TEST_F(Operations, ServiceSharesItselfOnlyWhenItIsShared) {
  const auto service = std::make_shared<FileServiceImpl>();
  EXPECT_EQ(service->getPtr(), service);
  EXPECT_THROW(FileServiceImpl().getPtr(), std::bad_weak_ptr);
}

} // namespace
} // namespace connector::file::v1::test
