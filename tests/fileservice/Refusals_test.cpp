#include "FileServiceTest.h"
#include "support/SmallTmpfs.h"
#include "support/Unprivileged.h"

namespace connector::file::v1::test {
namespace {

constexpr auto NAME = "FILE_NAME_NOT_SUPPORTED";
constexpr auto MISSING = "FILE_NOT_FOUND";
constexpr auto EXISTS = "FILE_EXISTS";
constexpr auto FOLDER = "FOLDER_ACCESS_DENIED";
constexpr auto GENERAL = "FILE_IO_GENERIC";

/// Received paths are relative here, so that a text tells them from absolute ones.
class Refusals : public FileServiceTest {
protected:
  void SetUp() override {
    writeFile("file", "old");
    writeFile("folder/inner", "x");
    writeFile("box/file", "other");
    makeFolder("box/folder");
  }

  template <typename T>
  void refused(Future<T> future, const std::string& condition, const ustring& message,
               const std::vector<ustring>& paths) const {
    EXPECT_EQ(refusalOf(std::move(future)), (Refusal{condition, message, paths}));
    EXPECT_EQ(snapshot(folder()), untouched_) << condition << testing::PrintToString(message);
  }

  void inTree(const std::function<void()>& body) {
    untouched_ = snapshot(folder());
    inFolder(body);
  }

private:
  std::map<std::string, std::string> untouched_;
};

TEST_F(Refusals, OfOpening) {
  std::filesystem::resize_file(writeFile("big"), 20'000'000);
  inTree([this] {
    refused(service->open(u"folder"), MISSING,
            root + u"folder exists but is a directory. Input must be a file.", {root + u"folder"});
    refused(service->openOrCreate(u"box/folder"), GENERAL,
            root + u"box/folder already exists and is a directory. Input must be a file.",
            {u"folder"});
    refused(service->read(u"big"), GENERAL,
            u"File size is invalid or too big (20MB limit): 20000000",
            {u"File size is invalid or too big (20MB limit): big"});
    refused(service->read(u"gone"), "plain", u"Error creating or reading file: 'gone'.", {});
  });
}

TEST_F(Refusals, OfWriting) {
  inTree([this] {
    refused(service->create(fileAt(u"gone\x7F/x"), true), NAME,
            root + u"gone\x7F/x is an invalid name.", {u"x"});
    refused(service->create(fileAt(u"file", "new"), false), EXISTS, root + u"file already exists",
            {root + u"file"});
    refused(service->update(fileAt(u"gone", "new")), MISSING,
            u"Cannot update a file which does not exist: " + root + u"gone", {root + u"gone"});
  });
}

TEST_F(Refusals, OfRenaming) {
  inTree([this] {
    refused(service->rename(u"./gone\n", u"gone\t"), NAME, u"./gone\n is an invalid name.",
            {u"gone\n"});
    refused(service->rename(u"folder/gone", u"file"), MISSING,
            u"File: folder/gone: Error renaming file: 'folder/gone' to 'file'", {u"gone"});
    refused(service->rename(u"file", u"box/folder"), EXISTS,
            u"File: file: Error renaming directory: 'file' to 'box/folder'",
            {root + u"box/folder"});
  });
}

TEST_F(Refusals, OfMoving) {
  inTree([this] {
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

TEST_F(Refusals, OfNamesLookAtTheReceivedOrTheAbsolutePath) {
  writeFile("a\nb/file", "x");
  makeFolder("a\nb/folder");
  inTree([this] {
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

TEST_F(Refusals, OfWritingOverAFileLookAtItsFolder) {
  ASSERT_EQ(::chmod(at("box/file").c_str(), 0666), 0);
  ASSERT_EQ(::chmod(at("box").c_str(), 0555), 0);
  connector::test::asUnprivilegedUser([this] {
    inTree([this] {
      refused(service->create(fileAt(u"box/file"), true), FOLDER,
              root + u"box cannot be written to.", {root + u"box", u"file"});
    });
  });
}

TEST_F(Refusals, OfAFullDisk) {
  connector::test::onTmpfs(folder(), "size=64k", [this] {
    connector::test::fillUp(folder());
    inTree([this] {
      const ustring disk = folder().u16string();
      const ustring full = disk + u" disk quota exceeded.";
      refused(service->create(fileAt(u"new", "x"), false), "OVER_DISK_QUOTA", full, {disk, u"new"});
      refused(service->openOrCreate(u"new"), "OVER_DISK_QUOTA", full, {disk, u"new"});
    });
  });
}

} // namespace
} // namespace connector::file::v1::test
