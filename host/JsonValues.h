#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Builds and reads Poco's JSON values.
namespace connector::host {

/// An object whose members keep this order.
inline Poco::JSON::Object::Ptr
makeObject(std::initializer_list<std::pair<const char*, Poco::Dynamic::Var>> members = {}) {
  auto object = Poco::makeShared<Poco::JSON::Object>(Poco::JSON_PRESERVE_KEY_ORDER);
  for (const auto& [name, value] : members) {
    object->set(name, value);
  }
  return object;
}

inline Poco::JSON::Array::Ptr makeArray(std::initializer_list<Poco::Dynamic::Var> elements = {}) {
  auto array = Poco::makeShared<Poco::JSON::Array>();
  for (const auto& element : elements) {
    array->add(element);
  }
  return array;
}

struct Fault {
  std::string condition;
  std::string message;
  std::vector<std::string> paths;
};

/// The fault in a response. Returns nullopt if the operation succeeded.
inline std::optional<Fault> faultIn(const Poco::JSON::Object& response) {
  const auto faults = response.getArray("messageFaults");
  if (faults.isNull() || faults->empty()) {
    return std::nullopt;
  }
  const auto fault = faults->getObject(0);
  const auto condition = fault->getArray("faultConditions")->getObject(0);
  Fault result{
      condition->getValue<std::string>("faultId"), fault->getValue<std::string>("message"), {}};
  for (const auto& path : *condition->getArray("faultInfo")) {
    result.paths.push_back(path.toString());
  }
  return result;
}

} // namespace connector::host
