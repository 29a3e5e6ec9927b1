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
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>
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

using connector::Message; // not common::v1::Message
using FutureResponse = FileServiceProvider::FutureResponse;

template <typename M, typename... Own>
std::unique_ptr<Message> make(Own&&... own) {
  return std::make_unique<M>("", std::forward<Own>(own)..., Version());
}

/// Records how an OpenFile reaches it, and returns the request as the response.
class RecordingProvider : public FileServiceProviderImpl {
public:
  using FileServiceProviderImpl::FileServiceProviderImpl;
  using FileServiceProviderImpl::handle;

  FutureResponse handle(std::unique_ptr<OpenFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override {
    handled = "for " + address.client + (context == nullptr ? "" : " in context");
    return makeReadyFuture<std::unique_ptr<Message>>(std::move(request));
  }

  std::string handled;
};

class Delivery : public ::testing::Test {
protected:
  FutureResponse handle(std::unique_ptr<Message>&& message) {
    return provider->handle(std::move(message), {"client"}, std::make_shared<Context>());
  }

  /// Delivers the message to the provider, through `request` if given. Returns the text of the
  /// exception, which must have exactly this type. The message must stay with the caller and reach
  /// no overload.
  template <typename Exception>
  std::string failureText(std::unique_ptr<Message> message, CloseFile* request = nullptr) {
    const Message* const sent = message.get();
    auto response = request == nullptr ? handle(std::move(message))
                                       : request->deliver(provider, std::move(message), {}, {});
    EXPECT_EQ(message.get(), sent);
    EXPECT_EQ(provider->handled, "");
    try {
      response.get();
    } catch (const std::exception& error) {
      EXPECT_STREQ(typeid(error).name(), typeid(Exception).name());
      return error.what();
    }
    return "accepted";
  }

  std::shared_ptr<RecordingProvider> provider =
      std::make_shared<RecordingProvider>(std::make_shared<FileServiceImpl>());
};

TEST_F(Delivery, HandsTheRequestToTheOverloadForItsType) {
  provider->start();
  auto message = make<OpenFile>(u"");
  const Message* const request = message.get();
  const auto response = handle(std::move(message)).get();

  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(response.get(), request);
  EXPECT_EQ(provider->handled, "for client in context");
}

TEST_F(Delivery, IsRefusedByAStoppedServiceForAnyMessage) {
  for (const bool hasRun : {false, true}) {
    if (hasRun) {
      provider->start();
      provider->stop();
    }
    constexpr auto stopped = "Service exists but is not running.";
    EXPECT_EQ(failureText<std::runtime_error>(make<OpenFile>(u"")), stopped);
    EXPECT_EQ(failureText<std::runtime_error>(make<OpenWithBrowser>("")), stopped);
    EXPECT_EQ(failureText<std::runtime_error>(nullptr), stopped);
  }
}

TEST_F(Delivery, IsRefusedForAMessageOfAnotherService) {
  provider->start();
  const std::string text = "Incorrect message type. Expected: connector::ServiceMessage<connector::"
                           "file::v1::FileServiceProvider> but found ";
  EXPECT_EQ(failureText<std::invalid_argument>(make<OpenWithBrowser>("")),
            text + "connector::file::v1::OpenWithBrowser");
  EXPECT_EQ(failureText<std::invalid_argument>(nullptr), text + "null");
}

TEST_F(Delivery, IsRefusedByARequestThatIsGivenAnotherMessage) {
  CloseFile request("own", File(), true, Version());
  const std::string text = "Unable to deliver to service. Incorrect message type. "
                           "Expected: connector::file::v1::CloseFile but found ";
  EXPECT_EQ(failureText<std::invalid_argument>(make<OpenFile>(u""), &request),
            text + "connector::file::v1::OpenFile");
  EXPECT_EQ(failureText<std::invalid_argument>(make<CloseFile>(File(), true), &request),
            text + "connector::file::v1::CloseFile");
  EXPECT_EQ(failureText<std::invalid_argument>(nullptr, &request), text + "null");
}

TEST_F(Delivery, RequiresAnOwnerAServiceAndARequest) {
  RecordingProvider unowned(std::make_shared<FileServiceImpl>());
  unowned.start();
  EXPECT_THROW(static_cast<void>(unowned.handle(make<OpenFile>(u""), {}, {})), std::bad_weak_ptr);
  EXPECT_THROW(RecordingProvider(nullptr), std::invalid_argument);

  auto response = provider->handle(std::unique_ptr<DeleteFile>(), {}, {});
  EXPECT_THROW(response.get(), std::invalid_argument);
}

using Texts = std::vector<std::u16string>;

/// Alternately throws the exception and returns it in a Future. A listing succeeds.
class FailingService : public FileServiceImpl {
public:
  Future<File> open(const ustring& /*path*/) override { return fail<File>(); }

  Future<FileInfo> info(const ustring& /*path*/) override { return fail<FileInfo>(); }

  Future<std::vector<FileInfo>> list(const ustring& /*path*/) override {
    return makeReadyFuture(std::vector<FileInfo>(2));
  }

  std::exception_ptr exception;

private:
  template <typename T>
  Future<T> fail() {
    throws_ = !throws_;
    if (throws_) {
      std::rethrow_exception(exception);
    }
    return makeFailedFuture<T>(exception);
  }

  bool throws_ = false;
};

/// The handlers share the code for failures, so most tests send an OpenFile.
class Handlers : public ::testing::Test {
protected:
  /// Expects that the response has one fault with one condition.
  template <typename Request = OpenFile>
  void expectFault(const std::string& condition, const std::string& id, const std::string& text,
                   const Texts& paths) {
    auto request = std::make_unique<Request>("id-1", u"/w/\u00E9", Version(7, 3));
    const auto message = provider->handle(std::move(request), {}, {}).get();
    const auto& faults = dynamic_cast<const common::v1::Response&>(*message).getFaults();
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].getCode(), id);
    EXPECT_EQ(faults[0].getMessage(), text);
    ASSERT_EQ(faults[0].getConditions().size(), 1U);
    EXPECT_EQ(faults[0].getConditions()[0].getId(), condition);
    EXPECT_EQ(faults[0].getConditions()[0].getInfo(), paths);
  }

  void expectFault(const std::string& condition,
                   const std::string& text = "File: /w/é: Error opening file: '/w/é'") {
    expectFault(condition, "FileService.IOError", text, {u"/w/\u00E9"});
  }

  std::shared_ptr<FailingService> service = std::make_shared<FailingService>();
  std::shared_ptr<FileServiceProviderImpl> provider =
      std::make_shared<FileServiceProviderImpl>(service);
};

/// Returns an exception of two classes, so that the order in which they are caught decides.
template <typename First, typename Second>
std::exception_ptr both(First first, Second second) {
  struct Both : First, Second {
    Both(First first, Second second)
        : First(std::move(first))
        , Second(std::move(second)) {}
  };

  return std::make_exception_ptr(Both(std::move(first), std::move(second)));
}

TEST_F(Handlers, ReportAPlatformErrorAsItsCondition) {
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
  const std::vector<std::pair<std::exception_ptr, std::string>> rows{
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
  for (const auto& [exception, condition] : rows) {
    service->exception = exception;
    expectFault(condition);
  }
  // The listing succeeds, but the description of the directory fails.
  expectFault<ListFolder>("NOT_A_FOLDER", "FileService.IOError",
                          "Folder: /w/é: Error listing folder contents: '/w/é'", {u"/w/\u00E9"});
}

TEST_F(Handlers, ReportARefusalWithItsOwnTextAndPaths) {
  const FileServiceException refusal("An.Id", u"No \u00E9.", "OWN_CONDITION", {u"one", u"two"});
  service->exception = both(fl::filesystem::AccessDenied(13, u""), refusal);
  expectFault("OWN_CONDITION", "An.Id", "No é.", {u"one", u"two"});
}

/// Keeps the text that it cannot write.
struct BrokenChannel : Poco::Channel {
  void log(const Poco::Message& message) override {
    text = message.getText();
    throw Poco::WriteFileException("full");
  }

  std::string text;
};

TEST_F(Handlers, LogTheCauseAndRespondEvenIfTheLogIsBroken) {
  const Poco::AutoPtr<BrokenChannel> channel = new BrokenChannel;
  Poco::Logger::get("connector::file").setChannel(channel);
  service->exception = std::make_exception_ptr(std::runtime_error("the cause"));
  expectFault("FILE_IO_GENERIC");
  Poco::Logger::get("connector::file").setChannel(nullptr);
  EXPECT_EQ(channel->text, "File: /w/é: Error opening file: '/w/é': the cause");
}

TEST_F(Handlers, ConvertTheContextTextBeforeTheCall) {
  service->exception = std::make_exception_ptr(fl::filesystem::AccessDenied(13, u""));
  conversionFails = true;
  expectFault("FILE_IO_GENERIC", "File operation failed");
  conversionFails = false;
}

} // namespace
} // namespace connector::file::v1::test
