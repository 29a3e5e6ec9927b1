#include "FileServiceTest.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

#include <cerrno>
#include <sys/resource.h>

namespace connector::file::v1::test {
namespace {

using connector::test::asUnprivilegedUser;
using connector::test::fillUp;
using connector::test::onTmpfs;

constexpr auto NAME = "FILE_NAME_NOT_SUPPORTED";
constexpr auto MISSING = "FILE_NOT_FOUND";
constexpr auto EXISTS = "FILE_EXISTS";
constexpr auto DENIED = "FILE_ACCESS_DENIED";
constexpr auto FOLDER = "FOLDER_ACCESS_DENIED";
constexpr auto GENERAL = "FILE_IO_GENERIC";
constexpr auto QUOTA = "OVER_DISK_QUOTA";

/// The disk never changes within a body: every call is refused.
class Refusals : public FileServiceTest {
protected:
  void SetUp() override {
    writeFile("file", "old");
    writeFile("folder/inner", "x");
    writeFile("box/file", "other");
    makeFolder("box/folder");
    ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
  }

  void inTree(const std::function<void()>& body) {
    inFolder([&] {
      untouched_ = snapshot(folder());
      body();
    });
  }

  template <typename T>
  void refused(Future<T> future, const std::string& condition, const ustring& message,
               const std::vector<ustring>& paths) const {
    EXPECT_EQ(refusalOf(std::move(future)), (Refusal{condition, message, paths}));
    EXPECT_EQ(snapshot(folder()), untouched_) << condition << testing::PrintToString(message);
  }

private:
  std::map<std::string, std::string> untouched_;
};

TEST_F(Refusals, OfOpening) {
  std::filesystem::resize_file(writeFile("big"), 20'000'000);
  inTree([this] {
    refused(service->open(u"folder/a\tb"), NAME, root + u"folder/a\tb is an invalid name.",
            {u"a\tb"});
    refused(service->open(u"gone"), MISSING, root + u"gone does not exist.", {root + u"gone"});
    refused(service->open(u"folder"), MISSING,
            root + u"folder exists but is a directory. Input must be a file.", {root + u"folder"});
    refused(service->openOrCreate(u"folder/a\tb"), NAME, root + u"folder/a\tb is an invalid name.",
            {u"a\tb"});
    refused(service->openOrCreate(u"gone/x"), FOLDER, root + u"gone cannot be written to.",
            {root + u"gone", u"x"});
    refused(service->openOrCreate(u"box/folder"), GENERAL,
            root + u"box/folder already exists and is a directory. Input must be a file.",
            {u"folder"});
    refused(service->read(u"big"), GENERAL,
            u"File size is invalid or too big (20MB limit): 20000000",
            {u"File size is invalid or too big (20MB limit): big"});
    for (const ustring path : {u"./gone", u"folder", u"fifo"})
      refused(service->read(path), "plain", u"Error creating or reading file: '" + path + u"'.",
              {});
  });
}

TEST_F(Refusals, OfAFileThatCannotBeOpened) {
  inTree([this] {
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{0, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    Future<File> future = service->read(u"file");
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    refused(std::move(future), GENERAL, u"File size is invalid or too big (20MB limit): -1",
            {u"File size is invalid or too big (20MB limit): file"});
  });
}

TEST_F(Refusals, OfWriting) {
  inTree([this] {
    const char16_t* const isFolder =
        u" already exists and is a directory. Directory cannot be overwritten.";
    refused(service->create(fileAt(u"gone\x7F/x"), true), NAME,
            root + u"gone\x7F/x is an invalid name.", {u"x"});
    refused(service->create(fileAt(u"file", "new"), false), EXISTS, root + u"file already exists",
            {root + u"file"});
    refused(service->create(folderAt(u"folder"), false), EXISTS, root + u"folder already exists",
            {root + u"folder"});
    for (const ustring path : {u"folder", u"file"})
      refused(service->create(folderAt(path), true), EXISTS, root + path + isFolder, {root + path});
    for (const ustring path : {u"folder", u"fifo"})
      refused(service->create(fileAt(path), true), EXISTS, root + path + isFolder, {root + path});
    refused(service->create(fileAt(u"file/x"), true), FOLDER, root + u"file cannot be written to.",
            {root + u"file", u"x"});

    refused(service->update(fileAt(u"folder/a\tb")), NAME,
            root + u"folder/a\tb is an invalid name.", {u"a\tb"});
    refused(service->update(fileAt(u"gone", "new")), MISSING,
            u"Cannot update a file which does not exist: " + root + u"gone", {root + u"gone"});
    refused(service->update(fileAt(u"box/folder")), GENERAL,
            root + u"box/folder exists but is a directory. Input must be a file.", {u"folder"});
  });
}

TEST_F(Refusals, OfRenaming) {
  inTree([this] {
    refused(service->rename(u"./gone\n", u"gone\t"), NAME, u"./gone\n is an invalid name.",
            {u"gone\n"});
    refused(service->rename(u"gone", u"./box\n"), NAME, u"./box\n is an invalid name.", {u"box\n"});
    refused(service->rename(u"folder/gone", u"file"), MISSING,
            u"File: folder/gone: Error renaming file: 'folder/gone' to 'file'", {u"gone"});
    refused(service->rename(u"file", u"box/folder"), EXISTS,
            u"File: file: Error renaming directory: 'file' to 'box/folder'",
            {root + u"box/folder"});
    refused(service->rename(u"folder", u"box/file"), EXISTS,
            u"A File named: 'file' already exists at the detination location: 'box/file', "
            u"unable to move file(s)",
            {root + u"box/file"});
  });
}

TEST_F(Refusals, OfMoving) {
  inTree([this] {
    refused(service->move(u"./gone\n", u"gone\t"), NAME, u"./gone\n is an invalid name.",
            {u"gone\n"});
    refused(service->move(u"gone", u"./box\n"), NAME, u"./box\n is an invalid name.", {u"box\n"});
    refused(service->move(u"./gone", u"missing"), MISSING,
            u"File: missing: , unable to move file(s)", {u"./gone"});
    refused(service->move(u"file", u"./missing"), MISSING, u"File: ./missing: directory invalid",
            {u"./missing"});
    refused(service->move(u"./folder", u"box"), EXISTS, u"File: box: , unable to move file(s)",
            {u"folder"});
    refused(service->move(u"./file", u"./box"), EXISTS,
            u"A file named: 'file' already exists at the destination location: './box', "
            u"unable to move file(s)",
            {u"file"});
  });
}

TEST_F(Refusals, OfRemovingAndListing) {
  inTree([this] {
    refused(service->remove(u"./a\rb"), NAME, u"./a\rb is an invalid name.", {u"a\rb"});
    refused(service->remove(u"./gone"), MISSING, root + u"./gone does not exist.", {u"./gone"});
    refused(service->list(u"./a\rb"), NAME, root + u"./a\rb is an invalid name.", {u"a\rb"});
    refused(service->list(u"./gone"), MISSING, root + u"./gone does not exist.",
            {root + u"./gone"});
  });
}

TEST_F(Refusals, OfNamesLookAtTheReceivedOrTheAbsolutePath) {
  writeFile("a\nb/file", "x");
  makeFolder("a\nb/folder");
  inTree([&] {
    std::filesystem::current_path("a\nb");
    const ustring invalid = root + u"a\nb/file is an invalid name.";
    refused(service->create(fileAt(u"file", "new"), true), NAME, invalid, {u"file"});
    refused(service->openOrCreate(u"file"), NAME, invalid, {u"file"});
    refused(service->update(fileAt(u"file")), NAME, invalid, {u"file"});
    refused(service->list(u""), NAME, root + u"a\nb is an invalid name.", {u"a\nb"});
    EXPECT_EQ(outcomeOf([this] { return service->open(u"file"); }), "ok");
    EXPECT_EQ(outcomeOf([this] { return service->rename(u"file", u"renamed"); }), "ok");
    EXPECT_EQ(outcomeOf([this] { return service->move(u"renamed", u"folder"); }), "ok");
    EXPECT_EQ(outcomeOf([this] { return service->remove(u"folder/renamed"); }), "ok");
  });
}

TEST_F(Refusals, OfWhatPermissionsForbid) {
  std::filesystem::resize_file(writeFile("secret"), 20'000'000);
  writeFile("sealed/file", "x");
  ASSERT_EQ(::chmod(at("secret").c_str(), 0), 0);
  ASSERT_EQ(::chmod(at("file").c_str(), 0444), 0);
  ASSERT_EQ(::chmod(at("sealed/file").c_str(), 0666), 0);
  ASSERT_EQ(::chmod(at("sealed").c_str(), 0555), 0);
  asUnprivilegedUser([this] {
    inTree([this] {
      for (const ustring path : {u"secret", u"./secret"}) {
        const ustring denied = u"Read permission not granted for the file: " + path;
        refused(service->read(path), DENIED, denied, {path});
        refused(service->open(path), DENIED, denied, {path});
        refused(service->openOrCreate(path), DENIED, path + u" cannot be read.", {path});
      }
      for (const ustring name : {u"new", u"file"})
        refused(service->create(fileAt(u"sealed/" + name), true), FOLDER,
                root + u"sealed cannot be written to.", {root + u"sealed", name});
      refused(service->openOrCreate(u"sealed/new"), FOLDER, root + u"sealed cannot be written to.",
              {root + u"sealed", u"new"});
      refused(service->create(fileAt(u"file"), true), DENIED, root + u"file cannot be written to.",
              {root + u"file"});
      for (const ustring path : {u"file", u"sealed"}) {
        refused(service->update(fileAt(path)), DENIED,
                u"File " + root + path + u" cannot be written to", {root + path});
        refused(service->rename(path, u"box/file"), DENIED, path + u" cannot be written to.",
                {root + path});
      }
      endsUntouched([this] { return service->create(folderAt(u"sealed/a/b"), false); },
                    std::to_string(EACCES));
    });
  });
}

TEST_F(Refusals, OfAFullDisk) {
  const auto expectQuota = [this] {
    inTree([this] {
      const ustring disk = folder().u16string();
      refused(service->create(fileAt(u"new", "x"), false), QUOTA, disk + u" disk quota exceeded.",
              {disk, u"new"});
      refused(service->openOrCreate(u"new"), QUOTA, disk + u" disk quota exceeded.",
              {disk, u"new"});
    });
  };
  onTmpfs(folder(), "size=64k", [&] {
    fillUp(folder());
    expectQuota();
  });
  onTmpfs(folder(), "nr_inodes=3", [&] {
    writeFile("one");
    writeFile("two");
    expectQuota();
  });
}

TEST_F(Refusals, OfADiskThatFillsUpWhileItIsWrittenAreThrown) {
  const std::string contents(1'000'000, 'x');
  const std::string full = std::to_string(ENOSPC);
  EXPECT_EQ(outcomeOf([&] { return service->update(fileAt(u"/dev/full", contents)); }), full);
  onTmpfs(folder(), "size=64k", [&] {
    writeFile("file", "old");
    EXPECT_EQ(outcomeOf([&] { return service->update(fileAt(root + u"file", contents)); }), full);
    EXPECT_LT(std::filesystem::file_size(at("file")), contents.size());
    writeFile("file", "old");
    EXPECT_EQ(outcomeOf([&] { return service->create(fileAt(root + u"new", contents), false); }),
              full);
    EXPECT_EQ(readFile("file"), "old");
  });
}

} // namespace
} // namespace connector::file::v1::test
