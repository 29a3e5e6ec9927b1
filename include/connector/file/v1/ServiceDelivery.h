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

/// Delivers a message to the provider's overload of `handle` for its type. The provider's generic
/// `handle` calls the message's `deliver`, and `deliver` calls the overload. To be delivered, a
/// new type of request needs a class, an overload and an instantiation of MessageAPI.
namespace connector {

// Instantiated in the library.
extern template class detail::SharedFutureState<std::unique_ptr<Message>>;
extern template class Future<std::unique_ptr<Message>>;
extern template class Promise<std::unique_ptr<Message>>;

namespace detail {

/// The demangled name of the message's dynamic type, or "null".
inline std::string typeNameOf(const Message* message) {
  return message == nullptr ? "null" : boost::core::demangle(typeid(*message).name());
}

/// Returns a Future that holds std::invalid_argument with the names of both types.
inline Future<std::unique_ptr<Message>>
unexpectedType(const std::string& prefix, const std::type_info& expected, const Message* found) {
  return makeFailedFuture<std::unique_ptr<Message>>(std::make_exception_ptr(std::invalid_argument(
      prefix + "Incorrect message type. Expected: " + boost::core::demangle(expected.name()) +
      " but found " + typeNameOf(found))));
}

} // namespace detail

/// A message that can be delivered to a `Provider`.
template <typename Provider>
class CONNECTOR_FILE_EXPORT ServiceMessage : public Message {
public:
  /// Passes `message`, which must own this object, to the provider. If it owns another object or
  /// none, the caller keeps it and the Future holds std::invalid_argument.
  virtual Future<std::unique_ptr<Message>> deliver(std::shared_ptr<Provider> provider,
                                                   std::unique_ptr<Message>&& message,
                                                   Address&& address,
                                                   std::shared_ptr<Context>&& context) = 0;
};

/// The base class of the request class `Req`; implements `deliver`. The library contains the
/// instantiations for the requests of the file service.
template <typename Req, typename Provider>
class CONNECTOR_FILE_EXPORT MessageAPI : public ServiceMessage<Provider> {
public:
  Future<std::unique_ptr<Message>> deliver(std::shared_ptr<Provider> provider,
                                           std::unique_ptr<Message>&& message, Address&& address,
                                           std::shared_ptr<Context>&& context) override;
};

/// The base class of the provider class `Provider`; implements the generic `handle`.
template <typename Provider>
class CONNECTOR_FILE_EXPORT ServiceProviderAPI : public ServiceProvider {
protected:
  void onStart() override {}

  void onStop() override {}

public:
  /// Delivers the message to the overload for its type, which takes ownership. If the provider is
  /// not running, the Future holds std::runtime_error. If the message is null or not for
  /// `Provider`, the Future holds std::invalid_argument. In both cases the caller keeps the
  /// message. Throws std::bad_weak_ptr if no std::shared_ptr owns the provider. May be called on
  /// any thread.
  Future<std::unique_ptr<Message>> handle(std::unique_ptr<Message>&& message, Address&& address,
                                          std::shared_ptr<Context>&& context) override {
    if (!isRunning()) {
      return makeFailedFuture<std::unique_ptr<Message>>(
          std::make_exception_ptr(std::runtime_error("Service exists but is not running.")));
    }
    auto* const deliverable = dynamic_cast<ServiceMessage<Provider>*>(message.get());
    if (deliverable == nullptr) {
      return detail::unexpectedType("", typeid(ServiceMessage<Provider>), message.get());
    }
    return deliverable->deliver(static_cast<Provider&>(*this).shared_from_this(),
                                std::move(message), std::move(address), std::move(context));
  }
};

} // namespace connector
