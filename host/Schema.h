#pragma once

#include <Poco/JSON/Object.h>

#include <string>
#include <vector>

/// The keys of all messages that are offered, as JSON Schema. Derived from the list of messages.
namespace connector::host {

/// The names of all requests, sorted.
std::vector<std::string> requestTypes();

/// The JSON Schema of a request. Shared, so do not change it. Throws an Error (methodNotFound) if
/// there is no such request.
Poco::JSON::Object::Ptr requestSchema(const std::string& type);

/// A key of a request.
struct RequestKey {
  std::string name; ///< of a key inside an object: "file.location"
  bool isRequired;
  Poco::JSON::Object::Ptr schema; ///< of its value

  /// As JSON Schema names it.
  [[nodiscard]] std::string type() const { return schema->getValue<std::string>("type"); }

  /// Whether the service ignores the key, which only responses need.
  [[nodiscard]] bool isIgnored() const { return schema->has("readOnly"); }
};

/// The keys of a request, at all levels; a key precedes those inside its object. Throws as above.
std::vector<RequestKey> keysOf(const std::string& type);

/// The key that has this name or ends with it after a dot. Null if there is none.
const RequestKey* findKey(const std::vector<RequestKey>& keys, const std::string& name);

/// Sets a key of a message. Each dot in the name leads into an object, which is created if it is
/// missing.
void setKey(Poco::JSON::Object& message, const std::string& name, const Poco::Dynamic::Var& value);

/// Whether the response to a request has the contents of a file.
bool returnsFile(const std::string& type);

/// The OpenRPC document of all requests and their responses.
Poco::JSON::Object::Ptr openRpcDocument();

} // namespace connector::host
