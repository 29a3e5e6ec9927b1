#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

namespace connector::file::v1::test {
namespace {

using connector::Message; // not the common one
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

  /// Returns the text of the exception, of exactly this type, in the Future of the provider or, if
  /// given, of `request`. The message stays with its caller and reaches no overload.
  template <typename Exception>
  std::string refusal(std::unique_ptr<Message> message, CloseFile* request = nullptr) {
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
    EXPECT_EQ(refusal<std::runtime_error>(make<OpenFile>(u"")), stopped);
    EXPECT_EQ(refusal<std::runtime_error>(make<OpenWithBrowser>("")), stopped);
    EXPECT_EQ(refusal<std::runtime_error>(nullptr), stopped);
  }
}

TEST_F(Delivery, IsRefusedForAMessageOfAnotherService) {
  provider->start();
  const std::string text = "Incorrect message type. Expected: connector::ServiceMessage<connector::"
                           "file::v1::FileServiceProvider> but found ";
  EXPECT_EQ(refusal<std::invalid_argument>(make<OpenWithBrowser>("")),
            text + "connector::file::v1::OpenWithBrowser");
  EXPECT_EQ(refusal<std::invalid_argument>(nullptr), text + "null");
}

TEST_F(Delivery, IsRefusedByARequestThatIsGivenAnotherMessage) {
  CloseFile request("own", File(), true, Version());
  const std::string text = "Unable to deliver to service. Incorrect message type. "
                           "Expected: connector::file::v1::CloseFile but found ";
  EXPECT_EQ(refusal<std::invalid_argument>(make<OpenFile>(u""), &request),
            text + "connector::file::v1::OpenFile");
  EXPECT_EQ(refusal<std::invalid_argument>(make<CloseFile>(File(), true), &request),
            text + "connector::file::v1::CloseFile");
  EXPECT_EQ(refusal<std::invalid_argument>(nullptr, &request), text + "null");
}

TEST_F(Delivery, RequiresAnOwnerAServiceAndARequest) {
  RecordingProvider unowned(std::make_shared<FileServiceImpl>());
  unowned.start();
  EXPECT_THROW(static_cast<void>(unowned.handle(make<OpenFile>(u""), {}, {})), std::bad_weak_ptr);
  EXPECT_THROW(RecordingProvider(nullptr), std::invalid_argument);

  auto response = provider->handle(std::unique_ptr<DeleteFile>(), {}, {});
  EXPECT_THROW(response.get(), std::invalid_argument);
}

} // namespace
} // namespace connector::file::v1::test
