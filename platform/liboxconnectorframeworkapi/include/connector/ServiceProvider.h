#pragma once

#include <connector/Message.h>

#include <atomic>
#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace connector {

// Defined by the service.
template <typename T>
class Future;

/// The sender of a message.
struct Address {
  std::string client;
};

/// The framework's information about one delivery.
class Context {
public:
  virtual ~Context() = default;
};

/// Starts and stops a service, which is stopped at first. Thread-safe.
class Lifecycle {
public:
  virtual ~Lifecycle();
  Lifecycle(const Lifecycle&) = delete;
  Lifecycle& operator=(const Lifecycle&) = delete;

  /// Calls `onStart`, then accepts requests.
  void start();

  /// Stops accepting requests, then calls `onStop`.
  void stop();

  [[nodiscard]] bool isRunning() const noexcept { return running; }

protected:
  Lifecycle() = default;

  virtual void onStart() = 0;
  virtual void onStop() = 0;

  std::atomic<bool> running{false};
};

/// Marks a service whose responses may arrive after `handle` has returned.
class DeferredService {
protected:
  DeferredService() = default;
  ~DeferredService() = default;
};

/// A service that receives messages from the framework.
class ServiceProvider : public Lifecycle, public DeferredService {
public:
  ~ServiceProvider() override = default;

protected:
  void onStart() override = 0;
  void onStop() override = 0;

public:
  /// Takes ownership of the message if its type belongs to the provider. Otherwise, and if the
  /// provider is stopped, returns a failed Future.
  virtual Future<std::unique_ptr<Message>> handle(std::unique_ptr<Message>&& message,
                                                  Address&& address,
                                                  std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector

#pragma GCC visibility pop
