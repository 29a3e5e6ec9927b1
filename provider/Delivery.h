#pragma once

// Defines MessageAPI::deliver. This header is not installed: it needs the complete
// provider class, which the headers of the messages do not include.

#include <connector/file/v1/ServiceDelivery.h>

#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace connector {

namespace detail {

/// The type of the overload of `handle` for `Req`. Ill-formed if there is no such overload.
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
  // Without an overload, the call selects the generic `handle`, which calls `deliver` again.
  static_assert(detail::HANDLES<Provider, Req>,
                "The provider has no overload of 'handle' for this request.");
  if (message.get() != static_cast<Message*>(this)) {
    return detail::unexpectedType("Unable to deliver to service. ", typeid(Req), message.get());
  }
  // The provider takes ownership of this object and may destroy it during the call.
  static_cast<void>(message.release());
  return provider->handle(std::unique_ptr<Req>(static_cast<Req*>(this)), std::move(address),
                          std::move(context));
}

} // namespace connector
