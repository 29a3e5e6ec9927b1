#pragma once

#include <connector/Message.h>

#include <Poco/JSON/Object.h>
#include <Poco/SharedPtr.h>

#include <functional>
#include <memory>
#include <string>
#include <typeinfo>

#pragma GCC visibility push(default)

namespace connector::json {

using ToJson = std::function<Poco::SharedPtr<Poco::JSON::Object>(const std::unique_ptr<Message>&)>;
using FromJson = std::function<std::unique_ptr<Message>(Poco::SharedPtr<Poco::JSON::Object>)>;

/// A registry of the functions that convert messages to JSON and back.
class JsonSerializer {
public:
  virtual ~JsonSerializer() = default;

  /// Writing finds `toJson` by the run-time type of the message, reading finds `fromJson` by name.
  virtual void registerConverters(const std::string& name, const std::type_info& type,
                                  ToJson toJson, FromJson fromJson) = 0;

  virtual void removeConverters(const std::type_info& type) = 0;
};

} // namespace connector::json

#pragma GCC visibility pop
