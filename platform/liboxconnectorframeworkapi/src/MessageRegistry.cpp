#include <connector/json/MessageRegistry.h>

#include <boost/core/demangle.hpp>

#include <algorithm>
#include <mutex>
#include <utility>

namespace connector::json {

void MessageRegistry::registerConverters(const std::string& name, const std::type_info& type,
                                         ToJson toJson, FromJson fromJson) {
  auto entry = std::make_shared<const Converters>(
      Converters{name, type, std::move(toJson), std::move(fromJson)});
  const auto collides = [&](const Entry& other) {
    return other->name == name || other->type == type;
  };
  const std::unique_lock lock(mutex_);
  if (std::any_of(entries_.begin(), entries_.end(), collides)) {
    throw std::invalid_argument("Already registered: " + name + " or its type " +
                                boost::core::demangle(type.name()));
  }
  entries_.push_back(std::move(entry));
}

void MessageRegistry::removeConverters(const std::type_info& type) {
  Entry removed; // destroyed after unlocking, because its destructor may call the registry
  const std::unique_lock lock(mutex_);
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry->type == type; });
  if (found != entries_.end()) {
    removed = *found;
    entries_.erase(found);
  }
}

template <typename Predicate>
MessageRegistry::Entry MessageRegistry::find(const Predicate& predicate) const {
  const std::shared_lock lock(mutex_);
  const auto found = std::find_if(entries_.begin(), entries_.end(), predicate);
  return found == entries_.end() ? nullptr : *found;
}

Poco::SharedPtr<Poco::JSON::Object>
MessageRegistry::toJson(const std::unique_ptr<Message>& message) const {
  if (!message) {
    throw std::invalid_argument("No message to write as JSON");
  }
  const Message& content = *message;
  const std::type_info& type = typeid(content);

  const Entry entry = find([&](const Entry& each) { return each->type == type; });
  if (!entry) {
    throw UnknownMessageType("Unknown message type: " + boost::core::demangle(type.name()));
  }
  return entry->toJson(message);
}

std::unique_ptr<Message>
MessageRegistry::fromJson(const std::string& name,
                          Poco::SharedPtr<Poco::JSON::Object> object) const {
  const Entry entry = find([&](const Entry& each) { return each->name == name; });
  if (!entry) {
    throw UnknownMessageType("Unknown message type: " + name);
  }
  return entry->fromJson(std::move(object));
}

std::vector<std::string> MessageRegistry::names() const {
  const std::shared_lock lock(mutex_);
  std::vector<std::string> result;
  for (const Entry& entry : entries_) {
    result.push_back(entry->name);
  }
  return result;
}

} // namespace connector::json
