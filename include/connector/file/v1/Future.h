#pragma once

#include <connector/file/v1/Export.h>

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

/// A one-shot result: set once, read once, and either a value, an exception or a cancellation.
///
///               setValue
///            +-------------> value       get moves the value out
///            | setException
///   pending -+-------------> exception   get rethrows the exception
///            | cancel
///            +-------------> cancelled   get throws; a late setValue or setException is ignored
///
/// `get` and `wait` block while the state is pending. Only the first `get` is served, even if it
/// throws. Promises, Futures and every running call own the state together. An abandoned Promise
/// leaves it pending for ever.
///
/// A continuation takes the place of `get`. It runs once, on the thread that sets the result or, if
/// there is a result already, on the thread that attaches it; no lock is held. While it runs, the
/// state is resolved: `wait` and `hasException` return at once, and a `get` on another thread may
/// take the result first. A thread that was blocked in `wait` before is woken only after the
/// continuation has returned or thrown.
///
/// A cancelled state drops late results. It keeps an attached continuation, which never runs, until
/// it is destroyed; because of the continuation, `get` is still refused.
namespace connector {

template <typename T>
class Future;

/// The callable that receives the result in place of a reader.
template <typename T>
class Continuation {
public:
  virtual ~Continuation() = default;

  /// `future` is valid and resolved; another reader may take its result first. An exception
  /// propagates to the caller of setValue, setException or attach after the waiters have been
  /// woken. The result stays.
  virtual void invoke(Future<T>&& future) = 0;

protected:
  Continuation() = default;
  Continuation(const Continuation&) = default;
  Continuation& operator=(const Continuation&) = default;
};

namespace detail {

enum class FutureStatus : std::int32_t { pending = 0, value = 1, exception = 2, cancelled = 3 };

/// Thread-safe. Its own errors are std::runtime_error, except std::invalid_argument for a null
/// exception pointer.
template <typename T>
class CONNECTOR_FILE_EXPORT SharedFutureState
    : public std::enable_shared_from_this<SharedFutureState<T>> {
  struct Token {
    explicit Token() = default; // explicit, so that {} does not make one
  };

public:
  /// The only way to create a state: object and reference count share one allocation.
  static std::shared_ptr<SharedFutureState> create() {
    return std::make_shared<SharedFutureState>(Token{});
  }

  // Public for make_shared only; no other code can name a Token.
  explicit SharedFutureState(Token) {}

  ~SharedFutureState() = default;
  SharedFutureState(const SharedFutureState&) = delete;
  SharedFutureState& operator=(const SharedFutureState&) = delete;

  /// Throws "Promise already resolved." if there is a result. Does nothing if cancelled.
  void setValue(T value) {
    resolve(FutureStatus::value, [&value] { return hold<T>(std::move(value)); });
  }

  /// As setValue. Throws std::invalid_argument first if `exception` is null.
  void setException(std::exception_ptr exception) {
    if (exception == nullptr) {
      throw std::invalid_argument("The exception is null.");
    }
    resolve(FutureStatus::exception,
            [&exception] { return hold<std::exception_ptr>(std::move(exception)); });
  }

  /// Cancels a pending state and wakes its readers. Returns false, without effect, in any other
  /// state.
  bool cancel() {
    std::unique_lock lock(mutex);
    if (status != FutureStatus::pending) {
      return false;
    }
    status = FutureStatus::cancelled;
    complete(std::move(lock));
    return true;
  }

  /// Runs `attached` when there is a result, which may be at once. Throws as `get` does if a reader
  /// or another continuation came first, or if the state is cancelled.
  void attach(std::unique_ptr<Continuation<T>> attached) {
    std::unique_lock lock(mutex);
    refuseSecondReader();
    if (status == FutureStatus::cancelled) {
      throw std::runtime_error("Future has been cancelled.");
    }
    continuation = std::move(attached);
    continuationAttached = continuation != nullptr;
    complete(std::move(lock));
  }

  /// Blocks until there is a result or a cancellation. Only the first call is served; every other
  /// call throws at once.
  T get() {
    const auto owner = this->shared_from_this();
    std::unique_lock lock(mutex);
    refuseSecondReader();
    retrieved = true;
    ready.wait(lock, [this] { return status != FutureStatus::pending; });
    switch (status) {
    case FutureStatus::value:
      return std::move(*static_cast<T*>(result.get()));
    case FutureStatus::exception:
      std::rethrow_exception(*static_cast<std::exception_ptr*>(result.get()));
    case FutureStatus::cancelled:
      throw std::runtime_error("Future has been cancelled.");
    case FutureStatus::pending:
      break;
    }
    throw std::runtime_error("Invalid Future state reached.");
  }

  /// Blocks until there is a result or a cancellation. Does not take the result.
  void wait() {
    const auto owner = this->shared_from_this();
    std::unique_lock lock(mutex);
    ready.wait(lock, [this] { return status != FutureStatus::pending; });
  }

  /// Whether the result is an exception; false while pending. Does not wait.
  bool hasException() const {
    const std::lock_guard lock(mutex);
    return status == FutureStatus::exception;
  }

private:
  using Result = std::unique_ptr<void, void (*)(void*)>;

  template <typename U>
  static Result hold(U&& content) {
    return {new U(std::forward<U>(content)), [](void* held) { delete static_cast<U*>(held); }};
  }

  template <typename MakeResult>
  void resolve(FutureStatus outcome, const MakeResult& makeResult) {
    std::unique_lock lock(mutex);
    if (status == FutureStatus::cancelled) {
      return; // a late producer must not fail
    }
    if (status != FutureStatus::pending) {
      throw std::runtime_error("Promise already resolved.");
    }
    result = makeResult(); // first, so that a failed allocation leaves the state pending
    status = outcome;
    complete(std::move(lock));
  }

  struct WakeAll {
    void operator()(std::condition_variable* waiters) const { waiters->notify_all(); }
  };

  void complete(std::unique_lock<std::mutex> lock) {
    // Destroyed in reverse order: the continuation, then `broadcast`, which wakes the waiters even
    // if the continuation has thrown, then `owner`, which may be the last owner by then.
    const auto owner = this->shared_from_this();
    const std::unique_ptr<std::condition_variable, WakeAll> broadcast(&ready);
    const bool hasResult = status == FutureStatus::value || status == FutureStatus::exception;
    const auto taken = hasResult ? std::move(continuation) : nullptr;
    if (taken == nullptr) {
      lock.unlock();
      return;
    }
    continuationAttached = false;
    retrieved = false;
    lock.unlock();
    taken->invoke(Future<T>(owner));
  }

  void refuseSecondReader() const {
    if (retrieved || continuationAttached) {
      throw std::runtime_error(
          "Future already returned it's value or has an associated continuation.");
    }
  }

  mutable std::mutex mutex; // guards all that follows
  std::condition_variable ready;
  Result result{nullptr, [](void*) {}};
  std::unique_ptr<Continuation<T>> continuation;
  FutureStatus status = FutureStatus::pending;
  bool continuationAttached = false;
  bool retrieved = false;
};

} // namespace detail

/// The consuming end. Movable, not copyable. A moved-from Future is invalid: every operation except
/// `valid` throws std::runtime_error("Future state isn't valid!"). One thread at a time may use a
/// Future; the state that it shares is thread-safe.
template <typename T>
class [[nodiscard]] CONNECTOR_FILE_EXPORT Future {
public:
  using State = detail::SharedFutureState<T>;

  /// Invalid.
  Future() = default;

  Future(Future&&) noexcept = default;
  Future& operator=(Future&&) noexcept = default;
  Future(const Future&) = delete;
  Future& operator=(const Future&) = delete;
  ~Future() = default;

  explicit Future(std::shared_ptr<State> state) noexcept
      : state_(std::move(state)) {}

  [[nodiscard]] bool valid() const noexcept { return state_ != nullptr; }

  /// Blocks, then returns the value or rethrows the stored exception. Call once.
  T get() { return checked().get(); }

  /// Blocks until `get` would not block. May be called any number of times.
  void wait() const { checked().wait(); }

  /// False while there is no result; call `wait` first for the final value.
  [[nodiscard]] bool hasException() const { return checked().hasException(); }

  /// A further owner of the state.
  [[nodiscard]] std::shared_ptr<State> state() const { return checked().shared_from_this(); }

private:
  [[nodiscard]] State& checked() const {
    if (!valid()) {
      throw std::runtime_error("Future state isn't valid!");
    }
    return *state_;
  }

  std::shared_ptr<State> state_;
};

/// The producing end. Copies share the state. Moving copies, so that every Promise has a state. A
/// reader that is woken by the result may destroy the Promise at once.
template <typename T>
class CONNECTOR_FILE_EXPORT Promise {
public:
  Promise()
      : state_(detail::SharedFutureState<T>::create()) {}

  Promise(const Promise&) = default;
  Promise& operator=(const Promise&) = default;
  ~Promise() = default;

  void setValue(T value) { state_->setValue(std::move(value)); }

  /// Throws std::invalid_argument if `exception` is null.
  void setException(std::exception_ptr exception) { state_->setException(std::move(exception)); }

  /// Returns a Future on the state at every call; only one of them can be read.
  [[nodiscard]] Future<T> getFuture() const { return Future<T>(state_); }

private:
  std::shared_ptr<detail::SharedFutureState<T>> state_;
};

/// A Future that is already resolved with `value`.
template <typename T>
Future<T> makeReadyFuture(T value) {
  auto state = detail::SharedFutureState<T>::create();
  state->setValue(std::move(value));
  return Future<T>(std::move(state));
}

/// A Future that has already failed with `exception`. Throws std::invalid_argument if it is null.
template <typename T>
Future<T> makeFailedFuture(std::exception_ptr exception) {
  auto state = detail::SharedFutureState<T>::create();
  state->setException(std::move(exception));
  return Future<T>(std::move(state));
}

// Instantiated once, in the library, as are the Futures of the file service and of messages.
extern template class detail::SharedFutureState<bool>;
extern template class Future<bool>;
extern template class Promise<bool>;

} // namespace connector
