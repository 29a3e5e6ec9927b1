#include <connector/json/MessageRegistry.h>

#include <boost/core/demangle.hpp>

#include <algorithm>
#include <mutex>
#include <utility>

namespace connector::json {

namespace {

/// Returns null if the map does not have the key.
template <typename Map>
typename Map::mapped_type find(std::shared_mutex& mutex, const Map& map,
                               const typename Map::key_type& key) {
  const std::shared_lock lock(mutex);
  const auto found = map.find(key);
  return found == map.end() ? nullptr : found->second;
}

} // namespace

void MessageRegistry::registerConverters(const std::string& name, const std::type_info& type,
                                         ToJson toJson, FromJson fromJson) {
  const auto entry = std::make_shared<const Converters>(
      Converters{std::type_index(type), std::move(toJson), std::move(fromJson)});
  // The nodes are created first, so that nothing can fail between the two insertions.
  std::map<std::string, Entry> named{{name, entry}};
  std::map<std::type_index, Entry> typed{{entry->type, entry}};

  const std::unique_lock lock(mutex_);
  if (byName_.count(name) != 0 || byType_.count(entry->type) != 0) {
    throw std::invalid_argument("Already registered: " + name + " or its type " +
                                boost::core::demangle(type.name()));
  }
  byName_.merge(named);
  byType_.merge(typed);
}

void MessageRegistry::removeConverters(const std::type_info& type) {
  Entry removed; // destroyed after unlocking, because its destructor may call the registry
  const std::unique_lock lock(mutex_);
  const auto typed = byType_.find(type);
  if (typed == byType_.end()) {
    return;
  }
  removed = typed->second;
  byType_.erase(typed);
  byName_.erase(std::find_if(byName_.begin(), byName_.end(),
                             [&](const auto& named) { return named.second == removed; }));
}

Poco::SharedPtr<Poco::JSON::Object>
MessageRegistry::toJson(const std::unique_ptr<Message>& message) const {
  if (!message) {
    throw std::invalid_argument("No message to write as JSON");
  }
  const Message& content = *message;
  const std::type_info& type = typeid(content);

  const Entry entry = find(mutex_, byType_, type);
  if (!entry) {
    throw UnknownMessageType("Unknown message type: " + boost::core::demangle(type.name()));
  }
  return entry->toJson(message);
}

std::unique_ptr<Message>
MessageRegistry::fromJson(const std::string& name,
                          Poco::SharedPtr<Poco::JSON::Object> object) const {
  const Entry entry = find(mutex_, byName_, name);
  if (!entry) {
    throw UnknownMessageType("Unknown message type: " + name);
  }
  return entry->fromJson(std::move(object));
}

std::vector<std::string> MessageRegistry::names() const {
  const std::shared_lock lock(mutex_);
  std::vector<std::string> result;
  result.reserve(byName_.size());
  for (const auto& named : byName_) {
    result.push_back(named.first);
  }
  return result;
}

} // namespace connector::json
