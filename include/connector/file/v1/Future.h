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
/// `get` and `wait` block while the state is pending. The first `get` counts as the only reader,
/// whatever it meets. The state belongs to its Promises, its Futures and every call that runs in
/// it. A continuation takes the place of `get`: it runs once, on the thread that sets the result
/// (or that attaches it, when the result is there already), without any lock held. A Promise that
/// is abandoned leaves its state pending for ever, and a cancelled state never runs its
/// continuation.
namespace connector {

template <typename T>
class Future;

/// What runs with the result instead of a reader.
template <typename T>
class Continuation {
public:
  virtual ~Continuation() = default;

  /// The Future is valid and has its result; its `get` may lose to another reader of the state. An
  /// exception leaves the call that ran the continuation, after the waiters have been woken; the
  /// result stays.
  virtual void invoke(Future<T>&& future) = 0;

protected:
  Continuation() = default;
  Continuation(const Continuation&) = default;
  Continuation& operator=(const Continuation&) = default;
};

namespace detail {

enum class FutureStatus : std::int32_t { pending = 0, value = 1, exception = 2, cancelled = 3 };

/// Thread-safe. Every error of its own is a std::runtime_error.
template <typename T>
class CONNECTOR_FILE_EXPORT SharedFutureState
    : public std::enable_shared_from_this<SharedFutureState<T>> {
  struct Token {
    explicit Token() = default; // or {} would name one
  };

public:
  /// The only way to one: object and reference count in one allocation.
  static std::shared_ptr<SharedFutureState> create() {
    return std::make_shared<SharedFutureState>(Token{});
  }

  // Public for make_shared alone; nobody else can name a Token.
  explicit SharedFutureState(Token) {}

  ~SharedFutureState() = default;
  SharedFutureState(const SharedFutureState&) = delete;
  SharedFutureState& operator=(const SharedFutureState&) = delete;

  /// Throws "Promise already resolved." when a result is there; does nothing when cancelled.
  void setValue(T value) {
    resolve(FutureStatus::value, [&value] { return hold<T>(std::move(value)); });
  }

  /// As setValue. The exception must not be null.
  void setException(std::exception_ptr exception) {
    resolve(FutureStatus::exception,
            [&exception] { return hold<std::exception_ptr>(std::move(exception)); });
  }

  /// Makes a pending state cancelled and wakes its readers; false, and nothing done, otherwise.
  bool cancel() {
    std::unique_lock lock(mutex);
    if (status != FutureStatus::pending) {
      return false;
    }
    status = FutureStatus::cancelled;
    complete(std::move(lock));
    return true;
  }

  /// Hands the result to `attached` as soon as there is one, which may be now. Throws as `get` does
  /// when a reader or another continuation came first, or when the state is cancelled.
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

  /// Blocks until there is a result or a cancellation; the first call takes the result, whatever it
  /// is, and every other one is refused.
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

  /// Blocks until there is a result or a cancellation, and takes nothing.
  void wait() {
    const auto owner = this->shared_from_this();
    std::unique_lock lock(mutex);
    ready.wait(lock, [this] { return status != FutureStatus::pending; });
  }

  /// Whether the result is an exception; false while there is none. Does not wait.
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
    // Left in reverse order: the continuation is destroyed, then the waiters are woken, also when
    // it has thrown, then the state is let go, all of whose other owners may be gone by then.
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

/// The consuming end. Movable, not copyable; a moved-from Future is invalid, and every operation
/// but `valid` throws std::runtime_error("Future state isn't valid!") on it. One thread at a time
/// may use one Future; the state behind it is thread-safe.
template <typename T>
class CONNECTOR_FILE_EXPORT Future {
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

  /// Blocks; returns the value or rethrows the stored exception. Only once.
  T get() { return checked().get(); }

  /// Blocks until `get` would not. May be called any number of times.
  void wait() const { checked().wait(); }

  /// False while there is no result: `wait` first for a settled answer.
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

/// The producing end. Copies share the state, and moving is copying: no Promise is without one. The
/// reader that a result wakes may destroy the Promise at once.
template <typename T>
class CONNECTOR_FILE_EXPORT Promise {
public:
  Promise()
      : state_(detail::SharedFutureState<T>::create()) {}

  Promise(const Promise&) = default;
  Promise& operator=(const Promise&) = default;
  ~Promise() = default;

  void setValue(T value) { state_->setValue(std::move(value)); }

  void setException(std::exception_ptr exception) { state_->setException(std::move(exception)); }

  /// A Future on the state, as often as asked for; only one of them can be read.
  [[nodiscard]] Future<T> getFuture() const { return Future<T>(state_); }

private:
  std::shared_ptr<detail::SharedFutureState<T>> state_;
};

/// A Future that has its value already.
template <typename T>
Future<T> makeReadyFuture(T value) {
  auto state = detail::SharedFutureState<T>::create();
  state->setValue(std::move(value));
  return Future<T>(std::move(state));
}

/// A Future that has failed already.
template <typename T>
Future<T> makeFailedFuture(std::exception_ptr exception) {
  auto state = detail::SharedFutureState<T>::create();
  state->setException(std::move(exception));
  return Future<T>(std::move(state));
}

} // namespace connector
