#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/FileServiceProviderImpl.h>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace connector::file::v1::test {
namespace {

using connector::Message; // not the common one
using FutureResponse = FileServiceProvider::FutureResponse;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::StartsWith;

std::unique_ptr<Message> openFile() {
  return std::make_unique<OpenFile>("", u"", Version());
}

std::unique_ptr<Message> openWithBrowser() {
  return std::make_unique<OpenWithBrowser>("", "", Version());
}

std::unique_ptr<Message> closeFile() {
  return std::make_unique<CloseFile>("id", File(), true, Version());
}

std::unique_ptr<Message> none() {
  return nullptr;
}

/// Writes down the OpenFile that reaches it.
class RecordingProvider : public FileServiceProviderImpl {
public:
  using FileServiceProviderImpl::FileServiceProviderImpl;
  using FileServiceProviderImpl::handle;

  FutureResponse handle(std::unique_ptr<OpenFile>&& request, Address&& address,
                        std::shared_ptr<Context>&& context) override {
    received = std::move(request);
    handled += "for " + address.client + (context == nullptr ? "" : " in context");
    auto answer = openWithBrowser();
    response = answer.get();
    return makeReadyFuture<std::unique_ptr<Message>>(std::move(answer));
  }

  std::string handled;
  std::unique_ptr<OpenFile> received;
  const Message* response = nullptr;
};

struct OtherProvider {};

struct ForeignRequest : ServiceMessage<OtherProvider> {
  Future<std::unique_ptr<Message>> deliver(std::shared_ptr<OtherProvider> /*provider*/,
                                           std::unique_ptr<Message>&& /*message*/,
                                           Address&& /*address*/,
                                           std::shared_ptr<Context>&& /*context*/) override {
    throw std::logic_error("delivered");
  }
};

std::unique_ptr<Message> foreign() {
  return std::make_unique<ForeignRequest>();
}

class Delivery : public ::testing::Test {
protected:
  /// The text of the exception, of exactly that type, that the answer holds; the message is still
  /// its caller's, and nobody has handled it.
  template <typename Exception>
  std::string refusal(FutureResponse answer, const std::unique_ptr<Message>& message) {
    EXPECT_EQ(message.get(), sent);
    EXPECT_EQ(provider->handled, "");
    try {
      answer.get();
    } catch (const std::exception& error) {
      EXPECT_STREQ(typeid(error).name(), typeid(Exception).name());
      return error.what();
    }
    return "accepted";
  }

  FutureResponse handle(std::unique_ptr<Message>& message) {
    sent = message.get();
    return provider->handle(std::move(message), {"client"}, std::make_shared<Context>());
  }

  const Message* sent = nullptr;
  std::shared_ptr<RecordingProvider> provider =
      std::make_shared<RecordingProvider>(std::make_shared<FileServiceImpl>());
};

TEST_F(Delivery, HandsAllItIsGivenToTheHandler) {
  provider->start();
  std::unique_ptr<Message> message = openFile();
  const Message* const request = message.get();
  const auto answer = handle(message).get();

  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(provider->received.get(), request);
  EXPECT_EQ(provider->handled, "for client in context");
  EXPECT_EQ(answer.get(), provider->response);
}

TEST_F(Delivery, IsRefusedByAStoppedServiceWhateverTheMessage) {
  for (const bool hasRun : {false, true}) {
    if (hasRun) {
      provider->start();
      provider->stop();
    }
    for (auto* const make : {openFile, openWithBrowser, none}) {
      auto message = make();
      EXPECT_EQ(refusal<std::runtime_error>(handle(message), message),
                "Service exists but is not running.");
    }
  }
}

TEST_F(Delivery, IsRefusedForAMessageOfAnotherService) {
  provider->start();
  for (const auto& [make, name] :
       {std::pair(&openWithBrowser, "connector::file::v1::OpenWithBrowser"),
        std::pair(&foreign, "::ForeignRequest"), std::pair(&none, "null")}) {
    auto message = make();
    EXPECT_THAT(refusal<std::invalid_argument>(handle(message), message),
                AllOf(StartsWith("Incorrect message type. Expected: connector::ServiceMessage<"
                                 "connector::file::v1::FileServiceProvider> but found "),
                      EndsWith(name)));
  }
}

TEST_F(Delivery, IsRefusedByARequestThatIsGivenAnotherMessage) {
  CloseFile request("own", File(), true, Version());
  for (const auto& [make, name] :
       {std::pair(&openFile, "connector::file::v1::OpenFile"),
        std::pair(&closeFile, "connector::file::v1::CloseFile"), std::pair(&none, "null")}) {
    auto message = make();
    sent = message.get();
    auto answer = request.deliver(provider, std::move(message), {}, {});
    EXPECT_EQ(refusal<std::invalid_argument>(std::move(answer), message),
              "Unable to deliver to service. Incorrect message type. "
              "Expected: connector::file::v1::CloseFile but found " +
                  std::string(name));
  }
}

} // namespace
} // namespace connector::file::v1::test
