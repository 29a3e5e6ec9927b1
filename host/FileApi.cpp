#include "Commands.h"
#include "Diagnostics.h"
#include "Limits.h"
#include "Schema.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/FileServiceProviderImpl.h>
#include <connector/file/v1/Future.h>

#include <connector/common/v1/Message.h>
#include <connector/json/MessageRegistry.h>

#include <Poco/Exception.h>

#include <cstddef>
#include <new>
#include <string_view>
#include <typeinfo>
#include <utility>

namespace connector::host {

namespace {

std::size_t lengthOf(const Poco::Dynamic::Var& value);

/// The length of all names and strings in an object, except for a string with the name `excluded`.
std::size_t lengthOf(const Poco::JSON::Object& object, std::string_view excluded = "") {
  std::size_t length = 0;
  for (const auto& [name, member] : object) {
    const bool isExcluded = name == excluded && member.type() == typeid(std::string);
    length += name.size() + (isExcluded ? 0 : lengthOf(member));
  }
  return length;
}

std::size_t lengthOf(const Poco::Dynamic::Var& value) { // recursive up to MAX_DEPTH
  if (value.type() == typeid(std::string)) {
    return value.extract<std::string>().size();
  }
  if (value.type() == typeid(Poco::JSON::Object::Ptr)) {
    return lengthOf(*value.extract<Poco::JSON::Object::Ptr>());
  }
  std::size_t length = 0;
  if (value.type() == typeid(Poco::JSON::Array::Ptr)) {
    for (const auto& element : *value.extract<Poco::JSON::Array::Ptr>()) {
      length += lengthOf(element);
    }
  }
  return length;
}

/// Throws an Error if a member, without the contents of a file, is longer than MAX_STRING. All
/// names and strings in an array or object count, because converters turn it into one text.
void checkLengths(const Poco::JSON::Object& params) {
  for (const auto& [name, member] : params) {
    const auto file = name == "file" ? params.getObject(name) : nullptr;
    const auto length = file.isNull() ? lengthOf(member) : lengthOf(*file, "contents");
    if (length > MAX_STRING) {
      throw Error(ErrorCode::invalidParams, "Invalid params: \"" + name + "\" is too long");
    }
  }
}

std::unique_ptr<Message> requestFrom(const json::MessageRegistry& registry, const std::string& type,
                                     const Poco::JSON::Object::Ptr& params) {
  checkLengths(*params);
  try {
    return registry.fromJson(type, params);
  } catch (const json::UnknownMessageType& e) {
    throw Error(ErrorCode::methodNotFound, e.what() + suggestion(type, requestTypes()));
  } catch (const std::bad_alloc&) {
    throw; // not an error in the params
  } catch (const Poco::Exception& e) {
    throw Error(ErrorCode::invalidParams, e.displayText());
  } catch (const std::exception& e) {
    throw Error(ErrorCode::invalidParams, e.what());
  }
}

/// A Future fails only if the request was not delivered. A fault is part of a response.
std::unique_ptr<Message> responseFrom(Future<std::unique_ptr<Message>> future) {
  try {
    return future.get();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    throw Error(ErrorCode::refusedDelivery, e.what());
  }
}

class FileApi : public Api {
public:
  FileApi() { provider_->start(); }

  ~FileApi() override { provider_->stop(); }

  FileApi(const FileApi&) = delete;
  FileApi& operator=(const FileApi&) = delete;

  [[nodiscard]] Poco::JSON::Object::Ptr
  execute(const std::string& type, const Poco::JSON::Object::Ptr& params) const override {
    auto future = provider_->handle(requestFrom(*registry_, type, params), Address{}, nullptr);
    return registry_->toJson(responseFrom(std::move(future)));
  }

private:
  std::shared_ptr<json::MessageRegistry> registry_ = std::make_shared<json::MessageRegistry>();
  std::shared_ptr<file::v1::FileServiceProviderImpl> provider_ =
      std::make_shared<file::v1::FileServiceProviderImpl>(
          std::make_shared<file::v1::FileServiceImpl>());
  file::v1::FileJsonSerialization serialization_{registry_};
};

} // namespace

std::unique_ptr<Api> makeFileApi() {
  return std::make_unique<FileApi>();
}

} // namespace connector::host
