// The JSON of every message to the message and back: it is refused by an exception, or what is
// written can be read and is written the same again.

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
    return connector::host::parseObject(text).object;
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
  static const auto types = registry->names();
  if (size < 1) {
    return 0;
  }
  const std::string& type = types[data[0] % types.size()];
  const std::string text(reinterpret_cast<const char*>(data + 1),
                         size - 1); // NOLINT(*-reinterpret-cast)
  if (const auto object = objectIn(text)) {
    roundTrip(*registry, type, object);
  }
  return 0;
}
