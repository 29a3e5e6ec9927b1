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

/// Where libraries register how their messages are written as JSON and read back.
class JsonSerializer {
public:
  virtual ~JsonSerializer() = default;

  /// `type` is the class whose run-time type finds `toJson`; `name` finds `fromJson`.
  virtual void registerConverters(const std::string& name, const std::type_info& type,
                                  ToJson toJson, FromJson fromJson) = 0;

  virtual void removeConverters(const std::type_info& type) = 0;
};

} // namespace connector::json

#pragma GCC visibility pop
