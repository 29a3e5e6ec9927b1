#include "FileApi.h"

#include "Suggestion.h"

#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/Future.h>
#include <connector/file/v1/ServiceDelivery.h>

#include <connector/common/v1/Message.h>

#include <Poco/Exception.h>

#include <algorithm>
#include <new>
#include <utility>
#include <variant>

namespace connector::host {

namespace {

using Reason = Refusal::Reason;
using MessageOrRefusal = std::variant<std::unique_ptr<Message>, Refusal>;

/// A message can be made of nothing at all, and then tells whether the provider takes it.
bool isAnswered(const connector::json::MessageRegistry& registry, const std::string& type) {
  const auto message = registry.fromJson(type, new Poco::JSON::Object);
  return dynamic_cast<const ServiceMessage<file::v1::FileServiceProvider>*>(message.get()) !=
         nullptr;
}

std::vector<std::string> answeredTypes(const connector::json::MessageRegistry& registry) {
  auto types = registry.names();
  types.erase(std::remove_if(types.begin(), types.end(),
                             [&](const auto& type) { return !isAnswered(registry, type); }),
              types.end());
  return types;
}

MessageOrRefusal read(const connector::json::MessageRegistry& registry, const std::string& type,
                      const Poco::JSON::Object::Ptr& params) {
  try {
    return registry.fromJson(type, params);
  } catch (const connector::json::UnknownMessageType& e) {
    return Refusal{Reason::unknownType, e.what() + suggestion(type, answeredTypes(registry))};
  } catch (const std::bad_alloc&) {
    throw; // says nothing about the params
  } catch (const Poco::Exception& e) {
    return Refusal{Reason::params, e.displayText()};
  } catch (const std::exception& e) {
    return Refusal{Reason::params, e.what()};
  }
}

MessageOrRefusal deliver(file::v1::FileServiceProviderImpl& provider,
                         std::unique_ptr<Message> request) {
  auto response = provider.handle(std::move(request), Address{}, nullptr);
  try {
    return response.get();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    return Refusal{Reason::delivery, e.what()};
  }
}

} // namespace

FileApi::FileApi()
    : registry_(std::make_shared<connector::json::MessageRegistry>())
    , provider_(std::make_shared<file::v1::FileServiceProviderImpl>(
          std::make_shared<file::v1::FileServiceImpl>()))
    , serialization_(registry_) {
  provider_->start();
}

FileApi::~FileApi() {
  provider_->stop();
}

Outcome FileApi::answer(const std::string& type, const Poco::JSON::Object::Ptr& params) const {
  auto request = read(*registry_, type, params);
  if (const auto* refusal = std::get_if<Refusal>(&request)) {
    return *refusal;
  }
  auto response = deliver(*provider_, std::get<std::unique_ptr<Message>>(std::move(request)));
  if (const auto* refusal = std::get_if<Refusal>(&response)) {
    return *refusal;
  }
  const auto& message = std::get<std::unique_ptr<Message>>(response);
  const auto* const common = dynamic_cast<const common::v1::Response*>(message.get());
  return Response(registry_->toJson(message), common != nullptr && !common->getFaults().empty());
}

std::vector<std::string> FileApi::types() const {
  return answeredTypes(*registry_);
}

} // namespace connector::host
