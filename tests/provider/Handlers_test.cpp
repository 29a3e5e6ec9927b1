#include "support/FileContents.h"

#include <connector/file/v1/FileServiceException.h>
#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <fl/filesystem/exceptions.h>
#include <fl/i18n/convert.h>

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>
#include <Poco/Exception.h>
#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

bool conversionFails = false;

} // namespace

/// In this program it replaces the platform's constructor.
fl::i18n::codecvt_ustring_to_string::codecvt_ustring_to_string(std::string_view /*encoding*/,
                                                               bool /*flag*/) {
  if (conversionFails) {
    throw std::invalid_argument("unknown encoding");
  }
}

namespace connector::file::v1::test {
namespace {

using common::v1::Response;

/// Fails in every operation that a request calls: by turns it throws and returns a failed Future. A
/// listing may succeed.
class FailingService : public FileServiceImpl {
public:
  Future<FileInfo> create(File&& /*file*/, bool /*overwrite*/) override { return fail<FileInfo>(); }

  Future<File> openOrCreate(const ustring& /*path*/) override { return fail<File>(); }

  Future<File> open(const ustring& /*path*/) override { return fail<File>(); }

  Future<FileInfo> update(File&& /*file*/) override { return fail<FileInfo>(); }

  Future<FileInfo> close(File&& /*file*/) override { return fail<FileInfo>(); }

  Future<FileInfo> close(const ustring& /*path*/) override { return fail<FileInfo>(); }

  Future<FileInfo> rename(const ustring& /*from*/, const ustring& /*to*/) override {
    return fail<FileInfo>();
  }

  Future<FileInfo> move(const ustring& /*from*/, const ustring& /*to*/) override {
    return fail<FileInfo>();
  }

  Future<FileInfo> remove(const ustring& /*path*/) override { return fail<FileInfo>(); }

  Future<FileInfo> info(const ustring& /*path*/) override { return fail<FileInfo>(); }

  Future<std::vector<FileInfo>> list(const ustring& /*path*/) override {
    return lists ? makeReadyFuture(std::vector<FileInfo>(2)) : fail<std::vector<FileInfo>>();
  }

  std::exception_ptr exception;
  bool lists = false;

private:
  template <typename T>
  Future<T> fail() {
    thrown_ = !thrown_;
    if (thrown_) {
      std::rethrow_exception(exception);
    }
    return makeFailedFuture<T>(exception);
  }

  bool thrown_ = false;
};

using Texts = std::vector<std::u16string>;

/// A request, and the text and paths of its faults.
struct Request {
  std::string name;
  std::function<std::unique_ptr<connector::Message>()> make;
  std::string contextText;
  Texts paths;

  friend std::ostream& operator<<(std::ostream& out, const Request& request) {
    return out << request.name;
  }
};

constexpr auto UUID = "id-1";
const std::u16string PATH = u"/w/\u00E9";
const std::u16string OTHER = u"other dir";

template <typename Req, typename... Own>
Request request(const std::string& name, const std::string& contextText, Texts paths,
                const Own&... own) {
  const auto make = [own...] { return std::make_unique<Req>(UUID, Own(own)..., Version(7, 3)); };
  return {name, make, contextText, std::move(paths)};
}

std::vector<Request> requests() {
  const File file(FileInfo(PATH, false), connector::test::bufferOf("new"));
  const std::string begin = "File: '/w/éé': Error ";
  const Texts ofFile{PATH, u"\u00E9"};
  return {
      request<CreateFile>("CreateFile", begin + "creating file: 'é'", ofFile, file, false),
      request<UpdateFile>("UpdateFile", begin + "in updating file: 'é'", ofFile, file),
      request<CloseFile>("CloseFile", begin + "in closing file: 'é'", ofFile, file, false),
      request<CloseFile>("CloseFileWithUpdate", begin + "in closing file: 'é'", ofFile, file, true),
      request<OpenOrCreateFile>("OpenOrCreateFile",
                                "File: /w/é: Error opening or creating file: '/w/é'", {PATH}, PATH),
      request<OpenFile>("OpenFile", "File: /w/é: Error opening file: '/w/é'", {PATH}, PATH),
      request<DeleteFile>("DeleteFile", "File: /w/é: Error deleting file: '/w/é'", {PATH}, PATH),
      request<ListFolder>("ListFolder", "Folder: /w/é: Error listing folder contents: '/w/é'",
                          {PATH}, PATH),
      request<RenameFile>("RenameFile", "File: /w/é: Error in renaming file: '/w/é' to 'other dir'",
                          {PATH, OTHER}, PATH, OTHER),
      request<MoveFile>("MoveFile", "File: /w/é: Error moving file: '/w/é' to 'other dir'",
                        {PATH, OTHER}, PATH, OTHER),
  };
}

class Handlers : public ::testing::TestWithParam<Request> {
protected:
  void SetUp() override { provider->start(); }

  /// The response holds one fault with one condition.
  void failsAs(const std::string& condition, const std::string& id, const std::string& text,
               const Texts& paths) {
    const auto message = provider->handle(GetParam().make(), {}, {}).get();
    const auto& response = dynamic_cast<const Response&>(*message);
    EXPECT_EQ(response.getUuid(), UUID);
    EXPECT_EQ(response.getApiVersion().getMajor(), Version::current().getMajor());
    const auto& faults = response.getFaults();
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].getCode(), id);
    EXPECT_EQ(faults[0].getMessage(), text);
    ASSERT_EQ(faults[0].getConditions().size(), 1U);
    EXPECT_EQ(faults[0].getConditions()[0].getId(), condition);
    EXPECT_EQ(faults[0].getConditions()[0].getInfo(), paths);
  }

  void failsAs(const std::string& condition) {
    failsAs(condition, "FileService.IOError", GetParam().contextText, GetParam().paths);
  }

  std::shared_ptr<FailingService> service = std::make_shared<FailingService>();
  std::shared_ptr<FileServiceProviderImpl> provider =
      std::make_shared<FileServiceProviderImpl>(service);
};

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
    service->exception = exception;
    failsAs(condition);
  }
  service->lists = true; // and the description of the directory fails
  failsAs("NOT_A_FOLDER");
}

TEST_P(Handlers, AnswerARefusalWithItsOwnTextAndPaths) {
  const FileServiceException refusal("An.Id", u"No \u00E9.", "OWN_CONDITION", {u"one", u"two"});
  service->exception = both(fl::filesystem::AccessDenied(13, u""), refusal);
  failsAs("OWN_CONDITION", "An.Id", "No é.", {u"one", u"two"});
}

/// Keeps the text that it cannot write.
struct BrokenChannel : Poco::Channel {
  void log(const Poco::Message& message) override {
    text = message.getText();
    throw Poco::WriteFileException("full");
  }

  std::string text;
};

TEST_P(Handlers, LogTheCauseAndAnswerEvenIfTheLogIsBroken) {
  const Poco::AutoPtr<BrokenChannel> channel = new BrokenChannel;
  Poco::Logger::get("connector::file").setChannel(channel);
  service->exception = std::make_exception_ptr(std::runtime_error("the cause"));
  failsAs("FILE_IO_GENERIC");
  Poco::Logger::get("connector::file").setChannel(nullptr);
  EXPECT_EQ(channel->text, GetParam().contextText + ": the cause");
}

TEST_P(Handlers, ConvertTheContextTextBeforeTheCall) {
  service->exception = std::make_exception_ptr(fl::filesystem::AccessDenied(13, u""));
  conversionFails = true;
  failsAs("FILE_IO_GENERIC", "FileService.IOError", "File operation failed", GetParam().paths);
  conversionFails = false;
}

INSTANTIATE_TEST_SUITE_P(Every, Handlers, ::testing::ValuesIn(requests()),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace connector::file::v1::test
