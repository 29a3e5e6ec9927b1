#pragma once

#include <connector/json/JsonSerializer.h>

#include <memory>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <typeindex>
#include <typeinfo>
#include <vector>

#pragma GCC visibility push(default)

namespace connector::json {

/// No converter is registered for a type name or for a message's run-time type.
class UnknownMessageType : public std::invalid_argument {
  using std::invalid_argument::invalid_argument;
};

/// The implementation of JsonSerializer. Thread-safe. The registry is not locked while a converter
/// runs, so a converter may register or remove others.
class MessageRegistry : public JsonSerializer {
public:
  /// Throws std::invalid_argument if the name or the type is already registered, and then changes
  /// nothing.
  void registerConverters(const std::string& name, const std::type_info& type, ToJson toJson,
                          FromJson fromJson) override;

  /// Ignores an unknown type.
  void removeConverters(const std::type_info& type) override;

  /// Finds the converter by the message's run-time type. Throws UnknownMessageType if there is
  /// none, std::invalid_argument if `message` is null, and the exceptions of the converter.
  [[nodiscard]] Poco::SharedPtr<Poco::JSON::Object>
  toJson(const std::unique_ptr<Message>& message) const;

  /// Finds the converter by type name. Throws UnknownMessageType if there is none, and the
  /// exceptions of the converter.
  [[nodiscard]] std::unique_ptr<Message> fromJson(const std::string& name,
                                                  Poco::SharedPtr<Poco::JSON::Object> object) const;

  /// Returns the registered type names in the order of their registration.
  [[nodiscard]] std::vector<std::string> names() const;

private:
  struct Converters {
    std::string name;
    std::type_index type;
    ToJson toJson;
    FromJson fromJson;
  };

  using Entry = std::shared_ptr<const Converters>;

  /// Returns null if the predicate holds for no entry.
  template <typename Predicate>
  [[nodiscard]] Entry find(const Predicate& predicate) const;

  mutable std::shared_mutex mutex_;
  std::vector<Entry> entries_;
};

} // namespace connector::json

#pragma GCC visibility pop
