#pragma once

#include <connector/Message.h>

#include <atomic>
#include <memory>
#include <string>

#pragma GCC visibility push(default)

namespace connector {

// The result type is the product's own; here it is only named.
template <typename T>
class Future;

/// Where a message came from.
struct Address {
  std::string client;
};

/// The framework's data about the current delivery.
class Context {
public:
  virtual ~Context() = default;
};

/// Whether a service runs. It starts stopped. Thread-safe.
class Lifecycle {
public:
  virtual ~Lifecycle();
  Lifecycle(const Lifecycle&) = delete;
  Lifecycle& operator=(const Lifecycle&) = delete;

  /// Runs the hook, then lets requests in.
  void start();

  /// Lets no further request in, then runs the hook.
  void stop();

  [[nodiscard]] bool isRunning() const noexcept { return running; }

protected:
  Lifecycle() = default;

  virtual void onStart() = 0;
  virtual void onStop() = 0;

  std::atomic<bool> running{false};
};

/// Marks a service whose answers may come later than the call that asked.
class DeferredService {
protected:
  DeferredService() = default;
  ~DeferredService() = default;
};

/// Takes the messages that the framework delivers.
class ServiceProvider : public Lifecycle, public DeferredService {
public:
  ~ServiceProvider() override = default;

protected:
  void onStart() override = 0;
  void onStop() override = 0;

public:
  /// Takes the message over when it is one of the provider's own. A refusal is a failed Future.
  virtual Future<std::unique_ptr<Message>> handle(std::unique_ptr<Message>&& message,
                                                  Address&& address,
                                                  std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector

#pragma GCC visibility pop
