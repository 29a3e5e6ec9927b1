#include "ScriptedService.h"

#include <connector/file/v1/FileServiceProviderImpl.h>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace connector::file::v1::test {
namespace {

using connector::Message; // not the common one
using Answer = FileServiceProvider::Answer;

std::unique_ptr<Message> openFile() {
  return std::make_unique<OpenFile>("", u"", Version());
}

std::unique_ptr<Message> openWithBrowser() {
  return std::make_unique<OpenWithBrowser>("", "", Version());
}

/// Writes down the OpenFile that reaches it.
class RecordingProvider : public FileServiceProviderImpl {
public:
  using FileServiceProviderImpl::FileServiceProviderImpl;
  using FileServiceProviderImpl::handle;

  Answer handle(std::unique_ptr<OpenFile>&& request, Address&& address,
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

class Delivery : public ::testing::Test {
protected:
  /// The text of the exception, of exactly that type, that the answer holds; the message is still
  /// its caller's, and nobody has handled it.
  template <typename Exception>
  std::string refusal(Answer answer, const std::unique_ptr<Message>& message, bool isKept = true) {
    EXPECT_EQ(message != nullptr, isKept);
    EXPECT_THAT(service->calls, ::testing::IsEmpty());
    EXPECT_EQ(provider->handled, "");
    try {
      answer.get();
    } catch (const std::exception& error) {
      EXPECT_STREQ(typeid(error).name(), typeid(Exception).name());
      return error.what();
    }
    return "accepted";
  }

  Answer handle(std::unique_ptr<Message>& message) {
    return provider->handle(std::move(message), {"client"}, std::make_shared<Context>());
  }

  std::shared_ptr<ScriptedService> service = std::make_shared<ScriptedService>();
  std::shared_ptr<RecordingProvider> provider = std::make_shared<RecordingProvider>(service);
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
  const std::string expected = "Service exists but is not running.";
  for (const bool hasRun : {false, true}) {
    if (hasRun) {
      provider->start();
      provider->stop();
    }
    std::unique_ptr<Message> own = openFile();
    EXPECT_EQ(refusal<std::runtime_error>(handle(own), own), expected);
    std::unique_ptr<Message> foreign = openWithBrowser();
    EXPECT_EQ(refusal<std::runtime_error>(handle(foreign), foreign), expected);
    std::unique_ptr<Message> none;
    EXPECT_EQ(refusal<std::runtime_error>(handle(none), none, false), expected);
  }
}

TEST_F(Delivery, IsRefusedForAMessageOfAnotherService) {
  const std::string expected = "Incorrect message type. Expected: "
                               "connector::ServiceMessage<connector::file::v1::FileServiceProvider>"
                               " but found ";
  provider->start();

  std::unique_ptr<Message> undeliverable = openWithBrowser();
  EXPECT_EQ(refusal<std::invalid_argument>(handle(undeliverable), undeliverable),
            expected + "connector::file::v1::OpenWithBrowser");
  std::unique_ptr<Message> foreign = std::make_unique<ForeignRequest>();
  EXPECT_THAT(
      refusal<std::invalid_argument>(handle(foreign), foreign),
      ::testing::AllOf(::testing::StartsWith(expected), ::testing::EndsWith("::ForeignRequest")));
  std::unique_ptr<Message> none;
  EXPECT_EQ(refusal<std::invalid_argument>(handle(none), none, false), expected + "null");
}

TEST_F(Delivery, IsRefusedByARequestThatIsGivenAnotherMessage) {
  const std::string expected = "Unable to deliver to service. Incorrect message type. "
                               "Expected: connector::file::v1::CloseFile but found ";
  CloseFile request("own", File(), true, Version());
  const auto deliver = [&](std::unique_ptr<Message>& message) {
    return request.deliver(provider, std::move(message), {}, {});
  };

  std::unique_ptr<Message> different = openFile();
  EXPECT_EQ(refusal<std::invalid_argument>(deliver(different), different),
            expected + "connector::file::v1::OpenFile");
  std::unique_ptr<Message> twin = std::make_unique<CloseFile>("id", File(), true, Version());
  EXPECT_EQ(refusal<std::invalid_argument>(deliver(twin), twin),
            expected + "connector::file::v1::CloseFile");
  std::unique_ptr<Message> none;
  EXPECT_EQ(refusal<std::invalid_argument>(deliver(none), none, false), expected + "null");
}

TEST_F(Delivery, NeedsAProviderThatIsShared) {
  RecordingProvider unowned(service);
  unowned.start();
  std::unique_ptr<Message> message = openFile();

  EXPECT_THROW(unowned.handle(std::move(message), {}, {}), std::bad_weak_ptr);
  EXPECT_NE(message, nullptr); // NOLINT(bugprone-use-after-move): it is only taken when accepted
  EXPECT_EQ(unowned.handled, "");
}

} // namespace
} // namespace connector::file::v1::test
