#include <connector/json/MessageRegistry.h>

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

namespace connector::json {
namespace {

using ::testing::ElementsAre;
using JsonObject = Poco::SharedPtr<Poco::JSON::Object>;

struct Ping : Message {};

struct LoudPing : Ping {};

struct Pong : Message {};

ToJson writes(const std::string& text) {
  return [text](const std::unique_ptr<Message>&) {
    JsonObject object = new Poco::JSON::Object;
    object->set("text", text);
    return object;
  };
}

template <typename T>
FromJson makes() {
  return [](const JsonObject&) { return std::make_unique<T>(); };
}

template <typename T>
void add(MessageRegistry& registry, const std::string& name) {
  registry.registerConverters(name, typeid(T), writes(name), makes<T>());
}

std::string written(const MessageRegistry& registry, const std::unique_ptr<Message>& message) {
  return registry.toJson(message)->getValue<std::string>("text");
}

template <typename T>
bool isA(const std::unique_ptr<Message>& message) {
  return dynamic_cast<const T*>(message.get()) != nullptr;
}

TEST(MessageRegistry, WritesByRunTimeTypeAndReadsByName) {
  MessageRegistry registry;
  add<Ping>(registry, "ping");
  add<LoudPing>(registry, "loud");

  EXPECT_EQ(written(registry, std::make_unique<Ping>()), "ping");
  EXPECT_EQ(written(registry, std::make_unique<LoudPing>()), "loud");
  EXPECT_FALSE(isA<LoudPing>(registry.fromJson("ping", new Poco::JSON::Object)));
  EXPECT_TRUE(isA<LoudPing>(registry.fromJson("loud", new Poco::JSON::Object)));
  EXPECT_THAT(registry.names(), ElementsAre("loud", "ping"));
}

TEST(MessageRegistry, HandsTheConvertersTheirArgumentsAndLetsTheirExceptionsThrough) {
  MessageRegistry registry;
  const JsonObject given = new Poco::JSON::Object;
  const std::unique_ptr<Message> message = std::make_unique<Ping>();
  const ToJson refuse = [&](const std::unique_ptr<Message>& handed) -> JsonObject {
    EXPECT_EQ(handed, message);
    throw std::domain_error("written");
  };
  const FromJson refuseToo = [&](const JsonObject& handed) -> std::unique_ptr<Message> {
    EXPECT_EQ(handed, given);
    throw std::domain_error("read");
  };
  registry.registerConverters("ping", typeid(Ping), refuse, refuseToo);

  EXPECT_THROW((void)registry.toJson(message), std::domain_error);
  EXPECT_THROW((void)registry.fromJson("ping", given), std::domain_error);
}

TEST(MessageRegistry, RefusesWhatItDoesNotKnow) {
  MessageRegistry registry;
  add<Ping>(registry, "ping");

  EXPECT_THROW((void)registry.toJson(std::make_unique<LoudPing>()), UnknownMessageType);
  EXPECT_THROW((void)registry.fromJson("Ping", new Poco::JSON::Object), UnknownMessageType);
  EXPECT_THROW((void)registry.toJson(nullptr), std::invalid_argument);
}

TEST(MessageRegistry, RefusesASecondNameOrTypeAndKeepsTheFirst) {
  MessageRegistry registry;
  add<Ping>(registry, "ping");

  EXPECT_THROW(add<Pong>(registry, "ping"), std::invalid_argument);
  EXPECT_THROW(add<Ping>(registry, "pong"), std::invalid_argument);
  EXPECT_THAT(registry.names(), ElementsAre("ping"));
  EXPECT_EQ(written(registry, std::make_unique<Ping>()), "ping");
  EXPECT_THROW((void)registry.toJson(std::make_unique<Pong>()), UnknownMessageType);
  EXPECT_TRUE(isA<Ping>(registry.fromJson("ping", nullptr)));
}

TEST(MessageRegistry, RemovesNameAndTypeTogether) {
  MessageRegistry registry;
  add<Ping>(registry, "ping");
  add<Pong>(registry, "pong");

  registry.removeConverters(typeid(LoudPing));
  EXPECT_THAT(registry.names(), ElementsAre("ping", "pong"));

  registry.removeConverters(typeid(Ping));
  EXPECT_THAT(registry.names(), ElementsAre("pong"));
  EXPECT_THROW((void)registry.toJson(std::make_unique<Ping>()), UnknownMessageType);
  EXPECT_THROW((void)registry.fromJson("ping", nullptr), UnknownMessageType);

  add<LoudPing>(registry, "ping");
  EXPECT_TRUE(isA<LoudPing>(registry.fromJson("ping", nullptr)));
}

TEST(MessageRegistry, LetsAConverterAndItsDestructionCallBack) {
  MessageRegistry registry;
  std::shared_ptr<void> captured(nullptr, [&](void*) { add<Pong>(registry, "pong"); });
  registry.registerConverters("ping", typeid(Ping), writes("ping"),
                              [&registry, captured](const JsonObject&) {
                                registry.removeConverters(typeid(Ping));
                                return std::unique_ptr<Message>();
                              });
  captured.reset();

  EXPECT_EQ(registry.fromJson("ping", nullptr), nullptr);
  EXPECT_THAT(registry.names(), ElementsAre("pong"));
}

TEST(MessageRegistry, ServesManyThreadsAtOnce) {
  MessageRegistry registry;
  add<Ping>(registry, "ping");
  std::atomic<int> served{0};
  const auto serve = [&] {
    for (int round = 0; round < 1000; ++round) {
      const auto message = registry.fromJson("ping", nullptr);
      served += written(registry, message) == "ping" && !registry.names().empty() ? 1 : 0;
    }
  };
  const auto comeAndGo = [&] {
    for (int round = 0; round < 1000; ++round) {
      add<Pong>(registry, "brief"); // On the way to "ping" in any search.
      registry.removeConverters(typeid(Pong));
    }
  };

  std::vector<std::thread> threads;
  threads.emplace_back(serve);
  threads.emplace_back(serve);
  threads.emplace_back(comeAndGo);
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(served, 2000);
  EXPECT_THAT(registry.names(), ElementsAre("ping"));
}

} // namespace
} // namespace connector::json
