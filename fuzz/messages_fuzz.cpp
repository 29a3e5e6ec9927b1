// The JSON of every message to the message and back: it is refused by an exception, or what is
// written can be read and is written the same again. An input is a JSON-RPC request whose method is
// the message type, a response included.

#include "Check.h"
#include "host/Json.h"
#include "host/JsonWriter.h"

#include <connector/file/v1/FileJsonSerialization.h>

#include <connector/json/MessageRegistry.h>

#include <Poco/JSON/Object.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace {

using connector::fuzz::require;
using Poco::JSON::Object;

Object::Ptr objectIn(const std::string& text) {
  try {
    return parseObject(connector::host::Text(text)).object;
  } catch (const connector::host::JsonError&) {
    return nullptr;
  }
}

std::string written(const connector::json::MessageRegistry& registry,
                    const std::unique_ptr<connector::Message>& message) {
  connector::host::StringOutput out;
  appendJson(out, registry.toJson(message));
  out.flush();
  return out.text();
}

void roundTrip(const connector::json::MessageRegistry& registry, const std::string& type,
               const Object::Ptr& object) {
  std::unique_ptr<connector::Message> message;
  try {
    message = registry.fromJson(type, object);
  } catch (const std::exception&) {
    return; // a refusal
  }
  // Some keys are lost on the first way back; from then on nothing changes.
  const auto once = registry.fromJson(type, objectIn(written(registry, message)));
  const std::string text = written(registry, once);
  const auto twice = registry.fromJson(type, objectIn(text));
  require(text == written(registry, twice), "what is written reads back as the same message");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto registry = std::make_shared<connector::json::MessageRegistry>();
  static const connector::file::v1::FileJsonSerialization serialization(registry);
  const auto request = objectIn(std::string(data, data + size));
  const auto params = request.isNull() ? nullptr : request->getObject("params");
  if (!params.isNull()) {
    roundTrip(*registry, request->optValue<std::string>("method", ""), params);
  }
  return 0;
}
