#include "Schema.h"

#include "Diagnostics.h"
#include "Json.h"
#include "JsonRpc.h"
#include "messages/MessageList.h"

#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace connector::host {

namespace {

using namespace connector::file::v1;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr std::string_view PREFIX = "connector/v1/";

template <typename M>
constexpr bool IS_REQUEST = std::is_base_of_v<ServiceMessage<FileServiceProvider>, M>;
template <typename M>
constexpr bool IS_RESPONSE = std::is_base_of_v<common::v1::Response, M>;

/// A key of a File. A FileInfo has all but the last two.
struct FileKey {
  const char* key;
  const char* type;
  bool isRead;    ///< in requests
  bool isWritten; ///< in every response
  const char* description;
};

constexpr std::array FILE_KEYS{
    FileKey{"location", "string", true, true, "The path."},
    FileKey{"isDirectory", "boolean", true, true, "Whether it is a directory."},
    FileKey{"name", "string", false, true, "Last component of the path."},
    FileKey{"size", "integer", false, false, "Bytes."},
    FileKey{"modified", "integer", false, false, "Seconds since 1970-01-01 UTC."},
    FileKey{"canWrite", "boolean", false, false, "Whether the service may write it."},
    FileKey{"deleted", "boolean", false, false, "Whether the path is missing."},
    FileKey{"isShared", "boolean", false, false, "Always false."},
    FileKey{"contents", "string", true, true, "The bytes, in this encoding."},
    FileKey{"encoding", "string", true, true, R"("utf-8" or, for bytes that are not, "base64".)"}};
constexpr std::size_t FILE_INFO_KEYS = FILE_KEYS.size() - 2;

Object::Ptr schemaOfType(const char* type) {
  return makeObject({{"type", type}});
}

Object::Ptr objectSchema(const char* title) {
  return makeObject({{"type", "object"},
                     {"title", title},
                     {"properties", makeObject()},
                     {"required", makeArray()}});
}

Object::Ptr arraySchema(const Object::Ptr& items) {
  return makeObject({{"type", "array"}, {"items", items}});
}

void addKey(Object& object, const char* key, Object::Ptr schema, bool isRequired,
            const char* description) {
  schema->set("description", description);
  object.getObject("properties")->set(key, schema);
  if (isRequired) {
    object.getArray("required")->add(key);
  }
}

/// The schema of an object with the first `count` keys of a file.
Object::Ptr fileSchema(bool isRequest, const char* title, std::size_t count) {
  auto schema = objectSchema(title);
  for (std::size_t i = 0; i < count; ++i) {
    const auto& file = FILE_KEYS.at(i);
    const std::string_view key = file.key;
    auto value = schemaOfType(file.type);
    if (isRequest && !file.isRead) {
      value->set("readOnly", true);
    }
    if (key == "encoding") {
      value->set("enum", makeArray({"utf-8", "base64"}));
    }
    const bool isRequired = isRequest ? key == "location" : file.isWritten;
    addKey(*schema, file.key, value, isRequired, file.description);
  }
  return schema;
}

Object::Ptr faultSchema() {
  auto condition = objectSchema("FaultCondition");
  addKey(*condition, "faultId", schemaOfType("string"), true, "The cause: FILE_NOT_FOUND, ...");
  addKey(*condition, "faultInfo", arraySchema(schemaOfType("string")), true, "The paths.");
  auto fault = objectSchema("Fault");
  addKey(*fault, "faultCode", schemaOfType("string"), true, "The kind of fault.");
  addKey(*fault, "message", schemaOfType("string"), true, "A text for people.");
  addKey(*fault, "faultConditions", arraySchema(condition), true, "One condition.");
  return fault;
}

template <typename T>
Object::Ptr schemaOfValue(bool isRequest) {
  if constexpr (std::is_same_v<T, File>) {
    return fileSchema(isRequest, "File", FILE_KEYS.size());
  } else if constexpr (std::is_same_v<T, FileInfo>) {
    return fileSchema(isRequest, "FileInfo", FILE_INFO_KEYS);
  } else if constexpr (std::is_same_v<T, std::vector<FileInfo>>) {
    return arraySchema(schemaOfValue<FileInfo>(isRequest));
  } else if constexpr (std::is_same_v<T, bool>) {
    return schemaOfType("boolean");
  } else if constexpr (std::is_integral_v<T>) {
    return schemaOfType("integer");
  } else {
    static_assert(std::is_same_v<T, std::string> || std::is_same_v<T, std::u16string>);
    return schemaOfType("string");
  }
}

/// A request may lack a flag. A response lacks its value if it has a fault.
template <typename M, typename F>
void addField(Object& schema, const F& field) {
  using Value = std::decay_t<decltype(std::declval<M&>().*field.member)>;
  const bool isRequired = IS_REQUEST<M> ? !std::is_same_v<Value, bool>
                                        : !std::is_same_v<F, wire::ResponseValue<M, Value>>;
  auto value = schemaOfValue<Value>(IS_REQUEST<M>);
  if (!isRequired && IS_REQUEST<M>) {
    value->set("default", false);
  }
  addKey(schema, field.key, value, isRequired, field.description);
}

template <typename M>
void addField(Object& schema, const wire::FirstFault& field) {
  addKey(schema, field.key, faultSchema(), false, field.description);
}

template <typename M, typename... Fields>
Object::Ptr messageSchema(const wire::Entry<M, Fields...>& entry) {
  auto schema = objectSchema(M::TYPE_NAME + PREFIX.size());
  std::apply([&](const auto&... field) { (addField<M>(*schema, field), ...); }, entry.fields);
  const auto addText = [&](const char* key, const char* defaultValue, const char* description) {
    auto value = schemaOfType("string");
    value->set("default", defaultValue);
    addKey(*schema, key, value, IS_RESPONSE<M>, description);
  };
  addText(wire::key::UUID, wire::NOT_GIVEN, "Chosen by the client; the response repeats it.");
  addText(wire::key::API_VERSION, "0.0", "Version of the messages, MAJOR.MINOR.");
  if constexpr (IS_RESPONSE<M>) {
    addKey(*schema, wire::key::MESSAGE_FAULTS, arraySchema(faultSchema()), true,
           "Empty on success, one fault otherwise.");
  } else {
    schema->set("description", entry.summary);
  }
  return schema;
}

using Schemas = std::map<std::string, Object::Ptr>;

template <typename M, typename... Fields>
void addMessage(Schemas& schemas, const wire::Entry<M, Fields...>& entry) {
  if constexpr (IS_REQUEST<M> || IS_RESPONSE<M>) {
    schemas.emplace(M::TYPE_NAME, messageSchema(entry));
  }
}

/// The schemas of all requests and responses.
const Schemas& schemas() {
  static const auto all = [] {
    Schemas result;
    std::apply([&](const auto&... entry) { (addMessage(result, entry), ...); }, wire::MESSAGES);
    return result;
  }();
  return all;
}

/// Returns null if `type` is not a request.
Object::Ptr responseSchema(const std::string& type) {
  const auto found = schemas().find(type + "Response");
  return found == schemas().end() ? nullptr : found->second;
}

bool isRequired(const Object& schema, const std::string& key) {
  const auto required = schema.getArray("required");
  return std::find(required->begin(), required->end(), key) != required->end();
}

/// One parameter per property of a request, because OpenRPC has no schema for all params.
Array::Ptr openRpcParams(const Object& schema) {
  auto params = makeArray();
  const auto properties = schema.getObject("properties");
  for (const auto& key : properties->getNames()) {
    params->add(makeObject(
        {{"name", key}, {"required", isRequired(schema, key)}, {"schema", properties->get(key)}}));
  }
  return params;
}

void appendKeys(std::vector<RequestKey>& keys, const std::string& prefix, const Object& schema,
                bool isParentRequired) {
  const auto properties = schema.getObject("properties");
  for (const auto& key : properties->getNames()) {
    const auto property = properties->getObject(key);
    const bool required = isParentRequired && isRequired(schema, key);
    keys.push_back({prefix + key, required, property});
    if (property->has("properties")) {
      appendKeys(keys, prefix + key + ".", *property, required);
    }
  }
}

} // namespace

std::vector<std::string> requestTypes() {
  std::vector<std::string> types;
  for (const auto& [type, schema] : schemas()) {
    if (!responseSchema(type).isNull()) {
      types.push_back(type);
    }
  }
  return types;
}

Object::Ptr requestSchema(const std::string& type) {
  if (responseSchema(type).isNull()) {
    throw Error(ErrorCode::methodNotFound,
                "Unknown message type: " + type + suggestion(type, requestTypes()));
  }
  return schemas().at(type);
}

std::vector<RequestKey> keysOf(const std::string& type) {
  std::vector<RequestKey> keys;
  appendKeys(keys, "", *requestSchema(type), true);
  return keys;
}

const RequestKey* findKey(const std::vector<RequestKey>& keys, const std::string& name) {
  const auto found = std::find_if(keys.begin(), keys.end(), [&](const RequestKey& key) {
    return key.name == name || Poco::endsWith(key.name, "." + name);
  });
  return found == keys.end() ? nullptr : &*found;
}

void setKey(Object& message, const std::string& name, const Poco::Dynamic::Var& value) {
  const auto dot = name.find('.');
  const auto first = name.substr(0, dot);
  if (dot == std::string::npos) {
    message.set(first, value);
    return;
  }
  if (message.getObject(first).isNull()) {
    message.set(first, makeObject());
  }
  setKey(*message.getObject(first), name.substr(dot + 1), value);
}

bool returnsFile(const std::string& type) {
  return responseSchema(type)->getObject("properties")->has("file");
}

Object::Ptr openRpcDocument() {
  auto methods = makeArray();
  for (const auto& type : requestTypes()) {
    const auto request = requestSchema(type);
    const auto response = responseSchema(type);
    methods->add(makeObject(
        {{"name", type},
         {"summary", request->get("description")},
         {"paramStructure", "by-name"},
         {"params", openRpcParams(*request)},
         {"result", makeObject({{"name", response->get("title")}, {"schema", response}})}}));
  }
  const auto info = makeObject({{"title", "connector-host"}, {"version", CONNECTOR_HOST_VERSION}});
  return makeObject({{"openrpc", "1.3.2"}, {"info", info}, {"methods", methods}});
}

} // namespace connector::host
