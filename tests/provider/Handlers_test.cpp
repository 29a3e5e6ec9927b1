#include "ScriptedService.h"

#include <connector/file/v1/FileServiceException.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <fl/filesystem/exceptions.h>

#include <Poco/Channel.h>
#include <Poco/Exception.h>
#include <Poco/Logger.h>
#include <gmock/gmock.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace connector::file::v1::test {
namespace {

using ::testing::Each;
using ::testing::IsEmpty;

using common::v1::Response;

using Texts = std::vector<std::u16string>;

// What a response carries, as texts: of a FileInfo the location, and "/" for a folder.

void describe(Texts& texts, const FileInfo& info) {
  texts.push_back(info.getLocation() + (info.isDirectory() ? u"/" : u""));
}

void describe(Texts& texts, const std::vector<FileInfo>& infos) {
  for (const auto& info : infos) {
    describe(texts, info);
  }
}

void describe(Texts& texts, const File& file) {
  describe(texts, file.getFileInfo());
  const auto contents = file.getContents().view();
  texts.emplace_back(contents.begin(), contents.end());
}

/// A request, and what tells its handler from the others.
struct Operation {
  std::string name;
  std::function<std::unique_ptr<connector::Message>()> request;
  Texts calls;
  std::string contextText;
  Texts paths;
  std::function<Texts(const connector::Message&)> payload; ///< insists on the response's type
  Texts result;
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
  return out << operation.name;
}

constexpr auto UUID = "id-1";

template <typename Req, typename... Own>
auto makes(const Own&... own) {
  return [own...] { return std::make_unique<Req>(UUID, Own(own)..., Version(7, 3)); };
}

template <typename M, typename... T>
auto carries(T M::*... members) {
  return [members...](const connector::Message& message) {
    const auto& response = dynamic_cast<const M&>(message);
    Texts texts;
    (describe(texts, response.*members), ...);
    return texts;
  };
}

/// What is common to the requests that are about `File("/w/é")`.
template <typename Req, typename Res, typename... Flag>
Operation aboutFile(const std::string& name, const std::u16string& call, const std::string& phrase,
                    FileInfo Res::*payload, Flag... flag) {
  const File file(FileInfo(u"/w/\u00E9", false), DataBuffer("new"));
  return {name,
          makes<Req>(file, flag...),
          {call},
          "File: '/w/éé': " + phrase + ": 'é'",
          {u"/w/\u00E9", u"\u00E9"},
          carries(payload),
          {u"/r/info/"}};
}

/// Of the requests that are about one path or two.
template <typename Req, typename... Path>
Operation aboutPaths(const std::string& contextText, Texts calls,
                     std::function<Texts(const connector::Message&)> payload, Texts result,
                     const Path&... path) {
  const std::string name = Req::TYPE_NAME;
  return {name.substr(name.rfind('/') + 1),
          makes<Req>(path...),
          std::move(calls),
          contextText,
          {path...},
          std::move(payload),
          std::move(result)};
}

std::vector<Operation> operations() {
  const std::u16string path = u"/w/\u00E9";
  const std::u16string other = u"other dir";
  const Texts info = {u"/r/info/"};
  const Texts contents = {u"/r/file", u"contents"};
  return {
      aboutFile<CreateFile>("CreateFile", u"create /w/\u00E9: new", "Error creating file",
                            &CreateFileResponse::fileInfo, false),
      aboutFile<CreateFile>("CreateFileOver", u"create over /w/\u00E9: new", "Error creating file",
                            &CreateFileResponse::fileInfo, true),
      aboutFile<UpdateFile>("UpdateFile", u"update /w/\u00E9: new", "Error in updating file",
                            &UpdateFileResponse::fileInfo),
      aboutFile<CloseFile>("CloseFile", u"close /w/\u00E9", "Error in closing file",
                           &CloseFileResponse::fileInfo, false),
      aboutFile<CloseFile>("CloseFileWithUpdate", u"close /w/\u00E9: new", "Error in closing file",
                           &CloseFileResponse::fileInfo, true),
      aboutPaths<OpenOrCreateFile>("File: /w/é: Error opening or creating file: '/w/é'",
                                   {u"openOrCreate /w/\u00E9"},
                                   carries(&OpenOrCreateFileResponse::file), contents, path),
      aboutPaths<OpenFile>("File: /w/é: Error opening file: '/w/é'", {u"open /w/\u00E9"},
                           carries(&OpenFileResponse::file), contents, path),
      aboutPaths<DeleteFile>("File: /w/é: Error deleting file: '/w/é'", {u"remove /w/\u00E9"},
                             carries(&DeleteFileResponse::fileInfo), info, path),
      aboutPaths<ListFolder>(
          "Folder: /w/é: Error listing folder contents: '/w/é'",
          {u"list /w/\u00E9", u"info /w/\u00E9"},
          carries(&ListFolderResponse::folder, &ListFolderResponse::folderContents),
          {u"/r/info/", u"/r/1", u"/r/2/"}, path),
      aboutPaths<RenameFile>("File: /w/é: Error in renaming file: '/w/é' to 'other dir'",
                             {u"rename /w/\u00E9 other dir"},
                             carries(&RenameFileResponse::newFileInfo), info, path, other),
      aboutPaths<MoveFile>("File: /w/é: Error moving file: '/w/é' to 'other dir'",
                           {u"move /w/\u00E9 other dir"},
                           carries(&MoveFileResponse::fileInfo, &MoveFileResponse::srcPath),
                           {u"/r/info/", u"/w/\u00E9/"}, path, other),
  };
}

class Handlers : public ::testing::TestWithParam<Operation> {
protected:
  void SetUp() override { provider->start(); }

  std::unique_ptr<connector::Message> respond() {
    auto message = provider->handle(GetParam().request(), {}, {}).get();
    const auto& response = dynamic_cast<const Response&>(*message);
    EXPECT_EQ(response.getUuid(), UUID);
    EXPECT_EQ(response.getApiVersion(), Version(1, 0));
    return message;
  }

  /// The response is empty but for one fault with one condition.
  void failsAs(const std::string& condition, const std::string& id, const std::string& text,
               const Texts& paths) {
    const auto response = respond();
    const auto& faults = dynamic_cast<const Response&>(*response).getFaults();
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].getCode(), id);
    EXPECT_EQ(faults[0].getMessage(), text);
    ASSERT_EQ(faults[0].getConditions().size(), 1U);
    EXPECT_EQ(faults[0].getConditions()[0].getId(), condition);
    EXPECT_EQ(faults[0].getConditions()[0].getInfo(), paths);
    EXPECT_THAT(GetParam().payload(*response), Each(IsEmpty()));
  }

  void failsAs(const std::string& condition) {
    failsAs(condition, "FileService.IOError", GetParam().contextText, GetParam().paths);
  }

  std::shared_ptr<ScriptedService> service = std::make_shared<ScriptedService>();
  std::shared_ptr<FileServiceProviderImpl> provider =
      std::make_shared<FileServiceProviderImpl>(service);
};

TEST_P(Handlers, AnswerWithWhatTheServiceReturns) {
  const auto response = respond();
  EXPECT_EQ(service->calls, GetParam().calls);
  EXPECT_THAT(dynamic_cast<const Response&>(*response).getFaults(), IsEmpty());
  EXPECT_EQ(GetParam().payload(*response), GetParam().result);
}

/// Of two classes at once, so that only the order in which they are caught decides.
template <typename First, typename Second>
std::exception_ptr both(First first, Second second) {
  struct Both : First, Second {
    Both(First first, Second second)
        : First(std::move(first))
        , Second(std::move(second)) {}
  };

  return std::make_exception_ptr(Both(std::move(first), std::move(second)));
}

std::vector<std::pair<std::exception_ptr, std::string>> platformFailures() {
  using namespace fl::filesystem; // NOLINT(google-build-using-namespace): a table of its classes
  const std::u16string path = u"/elsewhere";
  const auto one = [](auto exception) { return std::make_exception_ptr(std::move(exception)); };
  const auto system = [&](int code) { return SystemError(code, path, {u"argument"}); };
  const AccessDenied denied(13, path);
  const CvtInvalidCharacter badCharacter(84, path);
  const PathNotFound notFound(2, path);
  const FileExistsError exists(17, path);
  const DirectoryNotEmpty notEmpty(39, path);
  const NotDirectoryError notDirectory(20, path);
  return {
      {one(denied), "FOLDER_ACCESS_DENIED"},
      {one(FileNameConversionFailure(84, path)), "FILE_NAME_NOT_SUPPORTED"},
      {one(FileNameTooLarge(36, path)), "FILE_NAME_NOT_SUPPORTED"},
      {one(badCharacter), "FILE_NAME_NOT_SUPPORTED"},
      {one(notFound), "FILE_NOT_FOUND"},
      {one(exists), "FILE_EXISTS"},
      {one(notEmpty), "FOLDER_NOT_EMPTY"},
      {one(notDirectory), "NOT_A_FOLDER"},
      {one(system(28)), "OVER_DISK_QUOTA"},
      {one(system(122)), "OVER_DISK_QUOTA"},
      {one(system(27)), "FILE_TOO_BIG"},
      {one(system(16)), "RESOURCE_IN_USE"},
      {one(system(22)), "FILE_NAME_NOT_SUPPORTED"},
      {one(system(29)), "FILE_IO_GENERIC"},
      {one(system(2)), "FILE_IO_GENERIC"},
      {one(FsysExceptionBase(28, path)), "FILE_IO_GENERIC"},
      {one(std::runtime_error("Out of memory!")), "FILE_IO_GENERIC"},
      {one(std::bad_alloc()), "FILE_IO_GENERIC"},
      {one(28), "FILE_IO_GENERIC"},
      {both(denied, FileNameConversionFailure(84, path)), "FOLDER_ACCESS_DENIED"},
      {both(notFound, badCharacter), "FILE_NAME_NOT_SUPPORTED"},
      {both(exists, notFound), "FILE_NOT_FOUND"},
      {both(notEmpty, exists), "FILE_EXISTS"},
      {both(notDirectory, notEmpty), "FOLDER_NOT_EMPTY"},
      {both(system(28), notDirectory), "NOT_A_FOLDER"},
  };
}

TEST_P(Handlers, AnswerAPlatformFailureWithTheRequestsTextAndPaths) {
  for (const auto& [exception, condition] : platformFailures()) {
    for (const auto how : {Failure::thrown, Failure::inFuture}) {
      service->failWith(exception, how);
      failsAs(condition);
    }
  }
}

TEST_P(Handlers, AnswerARefusalWithItsOwnTextAndPaths) {
  const FileServiceException refusal("An.Id", u"No \u00E9.", "OWN_CONDITION", {u"one", u"two"});
  const fl::filesystem::AccessDenied denied(13, u"");
  for (const auto& exception : {std::make_exception_ptr(refusal), both(denied, refusal)}) {
    for (const auto how : {Failure::thrown, Failure::inFuture}) {
      service->failWith(exception, how);
      failsAs("OWN_CONDITION", "An.Id", "No é.", {u"one", u"two"});
    }
  }
}

class BrokenChannel : public Poco::Channel {
public:
  void log(const Poco::Message& /*message*/) override { throw Poco::WriteFileException("full"); }
};

TEST_P(Handlers, AnswerAlsoWhenTheLogIsBroken) {
  Poco::Logger& logger = Poco::Logger::get("connector::file");
  logger.setChannel(new BrokenChannel);
  service->failWith(std::make_exception_ptr(std::bad_alloc()), Failure::thrown);
  failsAs("FILE_IO_GENERIC");
  logger.setChannel(nullptr);
}

TEST_P(Handlers, StopAtTheFirstCallThatFails) {
  const Texts& calls = GetParam().calls;
  for (std::size_t failing = 0; failing < calls.size(); ++failing) {
    service->failWith(std::make_exception_ptr(fl::filesystem::PathNotFound(2, u"")),
                      Failure::inFuture, failing);
    failsAs("FILE_NOT_FOUND");
    EXPECT_EQ(service->calls, Texts(calls.begin(), calls.begin() + 1 + std::ptrdiff_t(failing)));
  }
}

INSTANTIATE_TEST_SUITE_P(Every, Handlers, ::testing::ValuesIn(operations()),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace connector::file::v1::test
