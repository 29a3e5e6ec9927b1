#include "FieldLists.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/Messages.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace connector::file::v1 {

namespace {

template <typename M>
constexpr bool IS_RESPONSE = std::is_base_of_v<common::v1::Response, M>;

template <typename M>
Object::Ptr toJson(const std::unique_ptr<connector::Message>& message) {
  auto& typed = static_cast<M&>(*message); // the registry finds the converter by this type
  Object::Ptr object = new Object;
  write(*object, key::UUID, typed.getUuid());
  std::apply([&](const auto&... field) { (field.write(*object, typed), ...); }, Fields<M>::list);
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

/// The constructor's arguments that the fields give, read in their order.
template <typename M>
auto readArguments(const Object& object) {
  return std::apply(
      [&object](const auto&... field) {
        std::tuple<decltype(field.read(object))...> values{field.read(object)...};
        return std::apply(
            [](auto&... value) { return std::tuple_cat(asArgument(std::move(value))...); }, values);
      },
      Fields<M>::list);
}

template <typename M>
std::unique_ptr<connector::Message> fromJson(Object::Ptr held) {
  const Object& object = *held; // throws Poco::NullPointerException if null
  const auto uuid = readOr<std::string>(object, key::UUID, NOT_GIVEN);
  auto arguments = readArguments<M>(object);
  const common::v1::Version version = readVersion(object, key::API_VERSION);
  auto message = std::apply(
      [&](auto&... argument) {
        if constexpr (IS_RESPONSE<M>) {
          return std::make_unique<M>(uuid, std::move(argument)...,
                                     readFaults(object, key::MESSAGE_FAULTS), version);
        } else {
          return std::make_unique<M>(uuid, std::move(argument)..., version);
        }
      },
      arguments);
  std::apply([&](const auto&... field) { (field.assign(object, *message), ...); }, Fields<M>::list);
  return message;
}

struct Registration {
  const char* name;
  const std::type_info& type;
  Object::Ptr (*toJson)(const std::unique_ptr<connector::Message>&);
  std::unique_ptr<connector::Message> (*fromJson)(Object::Ptr);
};

template <typename M>
Registration registrationOf() {
  return {M::TYPE_NAME, typeid(M), &toJson<M>, &fromJson<M>};
}

/// In the order in which they are registered and removed.
const auto& registrations() {
  static const std::array<Registration, 19> TABLE{
      registrationOf<CreateFile>(),       registrationOf<CreateFileResponse>(),
      registrationOf<OpenOrCreateFile>(), registrationOf<OpenOrCreateFileResponse>(),
      registrationOf<OpenFile>(),         registrationOf<OpenFileResponse>(),
      registrationOf<UpdateFile>(),       registrationOf<UpdateFileResponse>(),
      registrationOf<CloseFile>(),        registrationOf<CloseFileResponse>(),
      registrationOf<RenameFile>(),       registrationOf<RenameFileResponse>(),
      registrationOf<MoveFile>(),         registrationOf<MoveFileResponse>(),
      registrationOf<DeleteFile>(),       registrationOf<DeleteFileResponse>(),
      registrationOf<ListFolder>(),       registrationOf<ListFolderResponse>(),
      registrationOf<OpenWithBrowser>()};
  return TABLE;
}

/// Registers all or, if the serializer refuses one, none.
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

FileJsonSerialization::FileJsonSerialization(std::shared_ptr<json::JsonSerializer> serializer)
    : serializer(std::move(serializer)) {
  if (this->serializer == nullptr) {
    throw std::invalid_argument("The serializer is null.");
  }
  registerAll(*this->serializer);
}

FileJsonSerialization::FileJsonSerialization(const FileJsonSerialization&) = default;

FileJsonSerialization& FileJsonSerialization::operator=(const FileJsonSerialization&) = default;

FileJsonSerialization::~FileJsonSerialization() {
  for (const auto& registration : registrations()) {
    serializer->removeConverters(registration.type);
  }
}

} // namespace connector::file::v1
