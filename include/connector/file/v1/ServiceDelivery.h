#pragma once

#include <connector/file/v1/Export.h>
#include <connector/file/v1/Future.h>

#include <connector/Message.h>
#include <connector/ServiceProvider.h>

#include <boost/core/demangle.hpp>

#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

/// How a message finds the operation that is for its type: the provider's generic `handle` asks the
/// message to deliver itself, and the message, which knows its own type, calls the provider's
/// `handle` for that type. Adding a request is a class and an overload; nothing is looked up.
namespace connector {

namespace detail {

/// For texts; "null" when there is no message.
inline std::string typeNameOf(const Message* message) {
  return message == nullptr ? "null" : boost::core::demangle(typeid(*message).name());
}

inline Future<std::unique_ptr<Message>>
refuseMessage(const std::string& refusal, const std::type_info& expected, const Message* found) {
  return makeFailedFuture<std::unique_ptr<Message>>(std::make_exception_ptr(std::invalid_argument(
      refusal + "Incorrect message type. Expected: " + boost::core::demangle(expected.name()) +
      " but found " + typeNameOf(found))));
}

} // namespace detail

/// A message that some operation of `Provider` is for.
template <typename Provider>
class CONNECTOR_FILE_EXPORT ServiceMessage : public Message {
public:
  /// Hands `message`, which must own this very object, to the provider. Otherwise nothing is handed
  /// over and the Future holds std::invalid_argument.
  virtual Future<std::unique_ptr<Message>> deliver(std::shared_ptr<Provider> provider,
                                                   std::unique_ptr<Message>&& message,
                                                   Address&& address,
                                                   std::shared_ptr<Context>&& context) = 0;
};

/// Gives the request class `Req`, which derives from it, its delivery.
template <typename Req, typename Provider>
class CONNECTOR_FILE_EXPORT MessageAPI : public ServiceMessage<Provider> {
public:
  Future<std::unique_ptr<Message>> deliver(std::shared_ptr<Provider> provider,
                                           std::unique_ptr<Message>&& message, Address&& address,
                                           std::shared_ptr<Context>&& context) override;
};

// Not inline, so that a library can compile it where the provider is known.
template <typename Req, typename Provider>
Future<std::unique_ptr<Message>>
MessageAPI<Req, Provider>::deliver(std::shared_ptr<Provider> provider,
                                   std::unique_ptr<Message>&& message, Address&& address,
                                   std::shared_ptr<Context>&& context) {
  if (message.get() != static_cast<Message*>(this)) {
    return detail::refuseMessage("Unable to deliver to service. ", typeid(Req), message.get());
  }
  // From here on the request, and so this object, belongs to the provider.
  static_cast<void>(message.release());
  return provider->handle(std::unique_ptr<Req>(static_cast<Req*>(this)), std::move(address),
                          std::move(context));
}

/// Gives the provider class `Provider`, which derives from it, the generic entry.
template <typename Provider>
class CONNECTOR_FILE_EXPORT ServiceProviderAPI : public ServiceProvider {
protected:
  void onStart() override {}

  void onStop() override {}

public:
  /// Never throws a refusal: a stopped service is a Future that holds std::runtime_error, a message
  /// that is not for `Provider`, which stays with the caller, one that holds std::invalid_argument.
  /// Throws std::bad_weak_ptr when no std::shared_ptr owns the provider.
  Future<std::unique_ptr<Message>> handle(std::unique_ptr<Message>&& message, Address&& address,
                                          std::shared_ptr<Context>&& context) override {
    if (!isRunning()) {
      return makeFailedFuture<std::unique_ptr<Message>>(
          std::make_exception_ptr(std::runtime_error("Service exists but is not running.")));
    }
    auto* const deliverable = dynamic_cast<ServiceMessage<Provider>*>(message.get());
    if (deliverable == nullptr) {
      return detail::refuseMessage("", typeid(ServiceMessage<Provider>), message.get());
    }
    return deliverable->deliver(static_cast<Provider&>(*this).shared_from_this(),
                                std::move(message), std::move(address), std::move(context));
  }
};

} // namespace connector
