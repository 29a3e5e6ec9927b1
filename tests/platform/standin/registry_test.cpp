#include <connector/json/MessageRegistry.h>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace connector::json {
namespace {

using ::testing::ElementsAre;
using JsonObject = Poco::SharedPtr<Poco::JSON::Object>;

struct Ping : Message {};

struct Pong : Message {};

template <typename T>
void add(MessageRegistry& registry, const std::string& name) {
  registry.registerConverters(
      name, typeid(T), [](const auto&) { return new Poco::JSON::Object; },
      [](const JsonObject&) { return std::make_unique<T>(); });
}

TEST(MessageRegistry, KnowsOneTypePerNameUntilItIsRemoved) {
  MessageRegistry registry;
  add<Ping>(registry, "ping");
  EXPECT_THROW(add<Pong>(registry, "ping"), std::invalid_argument);
  EXPECT_THROW(add<Ping>(registry, "pong"), std::invalid_argument);
  EXPECT_FALSE(registry.toJson(registry.fromJson("ping", nullptr)).isNull());
  EXPECT_THROW((void)registry.toJson(nullptr), std::invalid_argument);

  add<Pong>(registry, "pong");
  registry.removeConverters(typeid(Message)); // not registered
  registry.removeConverters(typeid(Ping));
  EXPECT_THAT(registry.names(), ElementsAre("pong"));
  EXPECT_THROW((void)registry.toJson(std::make_unique<Ping>()), UnknownMessageType);
  EXPECT_THROW((void)registry.fromJson("ping", nullptr), UnknownMessageType);
}

} // namespace
} // namespace connector::json
