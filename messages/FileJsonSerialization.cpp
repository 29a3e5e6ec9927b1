#include "MessageList.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/Messages.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace connector::file::v1 {

namespace wire {
namespace {

template <typename M>
constexpr bool IS_RESPONSE = std::is_base_of_v<common::v1::Response, M>;

template <typename E>
constexpr const auto& fields = std::get<E>(MESSAGES).fields;

template <typename E>
Object::Ptr toJson(const std::unique_ptr<connector::Message>& message) {
  using M = typename E::Type;
  auto& typed = static_cast<M&>(*message); // the serializer selects converters by dynamic type
  Object::Ptr object = new Object;
  write(*object, key::UUID, typed.getUuid());
  std::apply([&](const auto&... field) { (field.write(*object, typed), ...); }, fields<E>);
  write(*object, key::API_VERSION, typed.getApiVersion());
  if constexpr (IS_RESPONSE<M>) {
    write(*object, key::MESSAGE_FAULTS, typed.getFaults());
  }
  return object;
}

template <typename T>
std::tuple<T> asArgument(T&& value) {
  return std::tuple<T>(std::forward<T>(value));
}

std::tuple<> asArgument(NoArgument&&) {
  return {};
}

/// Reads the fields in order and returns the constructor arguments among them.
template <typename E>
auto readArguments(const Object& object) {
  return std::apply(
      [&object](const auto&... field) {
        std::tuple<decltype(field.read(object))...> values{field.read(object)...};
        return std::apply(
            [](auto&... value) { return std::tuple_cat(asArgument(std::move(value))...); }, values);
      },
      fields<E>);
}

template <typename M, typename... Arguments>
std::unique_ptr<M> construct(Arguments&&... arguments) {
  static_assert(std::is_constructible_v<M, Arguments&&...>,
                "The fields in MESSAGES do not match the constructor of this message.");
  return std::make_unique<M>(std::forward<Arguments>(arguments)...);
}

template <typename E>
std::unique_ptr<connector::Message> fromJson(Object::Ptr pointer) {
  using M = typename E::Type;
  const Object& object = *pointer; // throws Poco::NullPointerException if null
  const auto uuid = readOr<std::string>(object, key::UUID, NOT_GIVEN);
  auto arguments = readArguments<E>(object);
  const common::v1::Version version = readVersion(object, key::API_VERSION);
  auto message = std::apply(
      [&](auto&... argument) {
        if constexpr (IS_RESPONSE<M>) {
          return construct<M>(uuid, std::move(argument)..., readFaults(object, key::MESSAGE_FAULTS),
                              version);
        } else {
          return construct<M>(uuid, std::move(argument)..., version);
        }
      },
      arguments);
  std::apply([&](const auto&... field) { (field.assign(object, *message), ...); }, fields<E>);
  return message;
}

struct Registration {
  const char* name;
  const std::type_info& type;
  Object::Ptr (*toJson)(const std::unique_ptr<connector::Message>&);
  std::unique_ptr<connector::Message> (*fromJson)(Object::Ptr);
};

template <typename M, typename... Fields>
Registration registrationOf(const Entry<M, Fields...>&) {
  using E = Entry<M, Fields...>;
  return {M::TYPE_NAME, typeid(M), &toJson<E>, &fromJson<E>};
}

const auto& registrations() {
  static const auto table = std::apply(
      [](const auto&... entry) { return std::array{registrationOf(entry)...}; }, MESSAGES);
  return table;
}

/// Registers all converters, or none if the serializer throws.
void registerAll(json::JsonSerializer& serializer) {
  const auto& table = registrations();
  const auto* next = table.begin();
  try {
    for (; next != table.end(); ++next) {
      serializer.registerConverters(next->name, next->type, next->toJson, next->fromJson);
    }
  } catch (...) {
    while (next != table.begin()) {
      serializer.removeConverters((--next)->type);
    }
    throw;
  }
}

} // namespace
} // namespace wire

FileJsonSerialization::FileJsonSerialization(std::shared_ptr<json::JsonSerializer> serializer)
    : serializer(std::move(serializer)) {
  if (this->serializer == nullptr) {
    throw std::invalid_argument("The serializer is null.");
  }
  wire::registerAll(*this->serializer);
}

FileJsonSerialization::FileJsonSerialization(const FileJsonSerialization&) = default;

FileJsonSerialization& FileJsonSerialization::operator=(const FileJsonSerialization&) = default;

FileJsonSerialization::~FileJsonSerialization() {
  for (const auto& registration : wire::registrations()) {
    serializer->removeConverters(registration.type);
  }
}

} // namespace connector::file::v1
