#pragma once

// How a request delivers itself. Only this library instantiates it: it needs the complete provider,
// which the exported headers of the messages do not have.

#include <connector/file/v1/ServiceDelivery.h>

#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace connector {

namespace detail {

/// The type of the overload of `handle` that takes exactly `Req`; ill-formed if there is none.
template <typename Provider, typename Req>
using OverloadFor = decltype(static_cast<Future<std::unique_ptr<Message>> (Provider::*)(
                                 std::unique_ptr<Req>&&, Address&&, std::shared_ptr<Context>&&)>(
    &Provider::handle));

template <typename Provider, typename Req, typename = void>
inline constexpr bool HANDLES = false;

template <typename Provider, typename Req>
inline constexpr bool HANDLES<Provider, Req, std::void_t<OverloadFor<Provider, Req>>> = true;

} // namespace detail

template <typename Req, typename Provider>
Future<std::unique_ptr<Message>>
MessageAPI<Req, Provider>::deliver(std::shared_ptr<Provider> provider,
                                   std::unique_ptr<Message>&& message, Address&& address,
                                   std::shared_ptr<Context>&& context) {
  // Otherwise the call below would choose the generic `handle`, which delivers again, endlessly.
  static_assert(detail::HANDLES<Provider, Req>,
                "The provider lacks the overload of 'handle' for this request.");
  if (message.get() != static_cast<Message*>(this)) {
    return detail::unexpectedType("Unable to deliver to service. ", typeid(Req), message.get());
  }
  // From here on the request, and so this object, belongs to the provider.
  static_cast<void>(message.release());
  return provider->handle(std::unique_ptr<Req>(static_cast<Req*>(this)), std::move(address),
                          std::move(context));
}

} // namespace connector
