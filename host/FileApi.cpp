#include "FileApi.h"

#include "Limits.h"
#include "Schema.h"
#include "Suggestion.h"

#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/Future.h>

#include <connector/common/v1/Message.h>

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>

#include <cstddef>
#include <new>
#include <typeinfo>
#include <utility>

namespace connector::host {

namespace {

/// Throws an Error if a string, other than the contents of a file, is longer than MAX_STRING.
void checkStrings(const Poco::Dynamic::Var& value,
                  const std::string& key) { // NOLINT(misc-no-recursion): MAX_DEPTH
  if (value.type() == typeid(std::string)) {
    if (key != "contents" && value.extract<std::string>().size() > MAX_STRING) {
      throw Error(ErrorCode::invalidParams, "Invalid params: \"" + key + "\" is too long");
    }
  } else if (value.type() == typeid(Poco::JSON::Array::Ptr)) {
    for (const auto& element : *value.extract<Poco::JSON::Array::Ptr>()) {
      checkStrings(element, key);
    }
  } else if (value.type() == typeid(Poco::JSON::Object::Ptr)) {
    for (const auto& [name, member] : *value.extract<Poco::JSON::Object::Ptr>()) {
      checkStrings(member, name);
    }
  }
}

std::unique_ptr<Message> requestFrom(const connector::json::MessageRegistry& registry,
                                     const std::string& type,
                                     const Poco::JSON::Object::Ptr& params) {
  checkStrings(params, "params");
  try {
    return registry.fromJson(type, params);
  } catch (const connector::json::UnknownMessageType& e) {
    throw Error(ErrorCode::methodNotFound, e.what() + suggestion(type, requestTypes()));
  } catch (const std::bad_alloc&) {
    throw; // not an error in the params
  } catch (const Poco::Exception& e) {
    throw Error(ErrorCode::invalidParams, e.displayText());
  } catch (const std::exception& e) {
    throw Error(ErrorCode::invalidParams, e.what());
  }
}

/// A fault is part of the response. The Future fails only if the request was not delivered.
std::unique_ptr<Message> responseFrom(Future<std::unique_ptr<Message>> future) {
  try {
    return future.get();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    throw Error(ErrorCode::refusedDelivery, e.what());
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

Poco::JSON::Object::Ptr FileApi::execute(const std::string& type,
                                         const Poco::JSON::Object::Ptr& params) const {
  auto future = provider_->handle(requestFrom(*registry_, type, params), Address{}, nullptr);
  return registry_->toJson(responseFrom(std::move(future)));
}

} // namespace connector::host
