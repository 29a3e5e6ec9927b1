#pragma once

#include <connector/file/v1/Export.h>

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

/// A result that is set once and read once: a value, an exception or a cancellation.
///
///               setValue
///            +-------------> value       get moves the value out
///            | setException
///   pending -+-------------> exception   get rethrows the exception
///            | cancel
///            +-------------> cancelled   get throws; a late setValue or setException is ignored
///
/// `get` and `wait` block while the state is pending. Every `get` after the first one throws, also
/// if the first one threw. Promises, Futures and running calls share ownership of the state. If all
/// Promises are destroyed before a result is set, the state stays pending for ever.
///
/// A continuation is used instead of `get`. It runs once, without a lock: on the thread that sets
/// the result or, if there is a result already, on the thread that attaches it. While it runs, the
/// state is resolved: `wait` and `hasException` return at once, and a `get` on another thread may
/// take the result first. A thread that was already blocked in `wait` is woken only after the
/// continuation has returned or thrown.
///
/// A cancelled state keeps an attached continuation until the state is destroyed, but never runs
/// it. `get` then throws because a continuation is attached.
namespace connector {

template <typename T>
class Future;

/// A callable that receives the result instead of a call of `get`.
template <typename T>
class Continuation {
public:
  virtual ~Continuation() = default;

  /// `future` is valid and resolved, but another reader may take its result first. An exception
  /// propagates to the caller of setValue, setException or attach, after the waiting threads have
  /// been woken. The result stays.
  virtual void invoke(Future<T>&& future) = 0;

protected:
  Continuation() = default;
  Continuation(const Continuation&) = default;
  Continuation& operator=(const Continuation&) = default;
};

namespace detail {

enum class FutureStatus : std::int32_t { pending = 0, value = 1, exception = 2, cancelled = 3 };

/// The state that Promises and Futures share. Thread-safe. Functions throw std::runtime_error,
/// unless stated otherwise.
template <typename T>
class CONNECTOR_FILE_EXPORT SharedFutureState
    : public std::enable_shared_from_this<SharedFutureState<T>> {
  struct Token {
    explicit Token() = default; // explicit, so that {} does not create a Token
  };

public:
  /// The only way to create a state: object and reference count share one allocation.
  static std::shared_ptr<SharedFutureState> create() {
    return std::make_shared<SharedFutureState>(Token{});
  }

  // Public for make_shared; no other code can create a Token.
  explicit SharedFutureState(Token) {}

  ~SharedFutureState() = default;
  SharedFutureState(const SharedFutureState&) = delete;
  SharedFutureState& operator=(const SharedFutureState&) = delete;

  /// Throws "Promise already resolved." if there is a result. Does nothing in a cancelled state.
  void setValue(T value) {
    resolve(FutureStatus::value, [&value] { return allocate<T>(std::move(value)); });
  }

  /// Same as setValue. Throws std::invalid_argument if `exception` is null.
  void setException(std::exception_ptr exception) {
    if (exception == nullptr) {
      throw std::invalid_argument("The exception is null.");
    }
    resolve(FutureStatus::exception,
            [&exception] { return allocate<std::exception_ptr>(std::move(exception)); });
  }

  /// Cancels a pending state and wakes the waiting threads. Returns false in any other state.
  bool cancel() {
    std::unique_lock lock(mutex);
    if (status != FutureStatus::pending) {
      return false;
    }
    status = FutureStatus::cancelled;
    complete(std::move(lock));
    return true;
  }

  /// Runs `attached` as soon as there is a result, possibly before this function returns. Throws if
  /// `get` was called, if another continuation is attached, or if the state is cancelled.
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

  /// Blocks until there is a result or a cancellation. Returns the value, rethrows the exception,
  /// or throws "Future has been cancelled.". Every call after the first one throws at once.
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

  /// Blocks until there is a result or a cancellation. `get` may follow.
  void wait() {
    const auto owner = this->shared_from_this();
    std::unique_lock lock(mutex);
    ready.wait(lock, [this] { return status != FutureStatus::pending; });
  }

  /// Returns whether the result is an exception. Does not wait: returns false while pending.
  bool hasException() const {
    const std::lock_guard lock(mutex);
    return status == FutureStatus::exception;
  }

private:
  using Result = std::unique_ptr<void, void (*)(void*)>;

  template <typename U>
  static Result allocate(U&& content) {
    return {new U(std::forward<U>(content)), [](void* held) { delete static_cast<U*>(held); }};
  }

  template <typename MakeResult>
  void resolve(FutureStatus outcome, const MakeResult& makeResult) {
    std::unique_lock lock(mutex);
    if (status == FutureStatus::cancelled) {
      return; // the producer cannot know of the cancellation, so this is not an error
    }
    if (status != FutureStatus::pending) {
      throw std::runtime_error("Promise already resolved.");
    }
    result = makeResult(); // before `status`: a failed allocation leaves the state pending
    status = outcome;
    complete(std::move(lock));
  }

  struct WakeAll {
    void operator()(std::condition_variable* waiters) const { waiters->notify_all(); }
  };

  void complete(std::unique_lock<std::mutex> lock) {
    // Destroyed in reverse order: `taken`, then `broadcast`, which wakes the waiting threads even
    // if the continuation has thrown, then `owner`, which may be the last owner.
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

  mutable std::mutex mutex; // guards all members below
  std::condition_variable ready;
  Result result{nullptr, [](void*) {}};
  std::unique_ptr<Continuation<T>> continuation;
  FutureStatus status = FutureStatus::pending;
  bool continuationAttached = false;
  bool retrieved = false;
};

} // namespace detail

/// The consuming end. Movable, not copyable. A default-constructed or moved-from Future is invalid:
/// every operation except `valid` throws std::runtime_error("Future state isn't valid!"). Only one
/// thread at a time may use a Future object. Several Futures on one state need no lock.
template <typename T>
class [[nodiscard]] CONNECTOR_FILE_EXPORT Future {
public:
  using State = detail::SharedFutureState<T>;

  Future() = default;
  Future(Future&&) noexcept = default;
  Future& operator=(Future&&) noexcept = default;
  Future(const Future&) = delete;
  Future& operator=(const Future&) = delete;
  ~Future() = default;

  explicit Future(std::shared_ptr<State> state) noexcept
      : state_(std::move(state)) {}

  [[nodiscard]] bool valid() const noexcept { return state_ != nullptr; }

  /// Blocks until there is a result or a cancellation. Returns the value, rethrows the exception,
  /// or throws std::runtime_error("Future has been cancelled."). Call once.
  T get() { return checked().get(); }

  /// Blocks until there is a result or a cancellation. May be called any number of times.
  void wait() const { checked().wait(); }

  /// Returns whether the result is an exception. Does not wait: returns false while pending.
  [[nodiscard]] bool hasException() const { return checked().hasException(); }

  /// Returns another owner of the state.
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

/// The producing end. Copies share the state. Moving a Promise copies it, so that every Promise has
/// a state. The thread that reads the result may destroy the Promise before setValue has returned.
template <typename T>
class CONNECTOR_FILE_EXPORT Promise {
public:
  Promise()
      : state_(detail::SharedFutureState<T>::create()) {}

  Promise(const Promise&) = default;
  Promise& operator=(const Promise&) = default;
  ~Promise() = default;

  /// Throws std::runtime_error("Promise already resolved.") if there is a result. Does nothing
  /// after a cancellation.
  void setValue(T value) { state_->setValue(std::move(value)); }

  /// Same as setValue. Throws std::invalid_argument if `exception` is null.
  void setException(std::exception_ptr exception) { state_->setException(std::move(exception)); }

  /// Returns a new Future at every call. All share the state, so only one can be read.
  [[nodiscard]] Future<T> getFuture() const { return Future<T>(state_); }

private:
  std::shared_ptr<detail::SharedFutureState<T>> state_;
};

/// Returns a Future that holds `value`.
template <typename T>
Future<T> makeReadyFuture(T value) {
  auto state = detail::SharedFutureState<T>::create();
  state->setValue(std::move(value));
  return Future<T>(std::move(state));
}

/// Returns a Future that holds `exception`. Throws std::invalid_argument if `exception` is null.
template <typename T>
Future<T> makeFailedFuture(std::exception_ptr exception) {
  auto state = detail::SharedFutureState<T>::create();
  state->setException(std::move(exception));
  return Future<T>(std::move(state));
}

// Instantiated in the library, as are those for the file service and for messages.
extern template class detail::SharedFutureState<bool>;
extern template class Future<bool>;
extern template class Promise<bool>;

} // namespace connector
