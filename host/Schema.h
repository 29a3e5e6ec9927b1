#pragma once

#include <Poco/JSON/Object.h>

#include <string>
#include <vector>

/// The keys of all requests and responses as JSON Schema, derived from the list of messages.
namespace connector::host {

/// The names of all requests, sorted.
std::vector<std::string> requestTypes();

/// The JSON Schema of a request. Shared, so do not change it. Throws an Error (methodNotFound) if
/// the type is unknown.
Poco::JSON::Object::Ptr requestSchema(const std::string& type);

/// A key of a request.
struct RequestKey {
  std::string name; ///< for a key inside an object: "file.location"
  bool isRequired;
  Poco::JSON::Object::Ptr schema; ///< of its value

  /// The type of its value in JSON Schema.
  [[nodiscard]] std::string type() const { return schema->getValue<std::string>("type"); }

  /// Whether the service ignores the key, which only responses need.
  [[nodiscard]] bool isIgnored() const { return schema->has("readOnly"); }
};

/// The keys of a request, at all levels; a key precedes those inside its object. Throws as above.
std::vector<RequestKey> keysOf(const std::string& type);

/// The key that has this name or ends with it after a dot. Null if there is none.
const RequestKey* findKey(const std::vector<RequestKey>& keys, const std::string& name);

/// Sets a key of a message. Each dot in the name separates an object, which is created if it is
/// missing, from a key in it.
void setKey(Poco::JSON::Object& message, const std::string& name, const Poco::Dynamic::Var& value);

/// Whether the response to a request has the contents of a file.
bool returnsFile(const std::string& type);

/// The OpenRPC document of all requests and their responses.
Poco::JSON::Object::Ptr openRpcDocument();

} // namespace connector::host
