#include <connector/file/v1/FileFutures.h>
#include <connector/file/v1/Future.h>

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace connector {
namespace {

using ::testing::ElementsAre;

constexpr auto RESOLVED = "Promise already resolved.";
constexpr auto CANCELLED = "Future has been cancelled.";
constexpr auto TAKEN = "Future already returned it's value or has an associated continuation.";

/// Returns the result of the action as text, "done" for none, or the text of its exception.
template <typename Action>
std::string outcome(const Action& action) {
  try {
    if constexpr (std::is_void_v<decltype(action())>) {
      action();
      return "done";
    } else {
      std::ostringstream text;
      text << std::boolalpha << action();
      return text.str();
    }
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

/// Both ends of one state.
struct Subject {
  explicit Subject(const Promise<int>& shared = {})
      : promise(shared) {}

  Promise<int> promise;
  Future<int> future = promise.getFuture();
  int results = 0;  // set so far; each result carries its number
  std::string runs; // a text for each run of a continuation
};

std::string attach(const Future<int>& future, std::function<void(Future<int>&&)> callback) {
  struct Calling : Continuation<int> {
    void invoke(Future<int>&& given) override { callback(std::move(given)); }

    std::function<void(Future<int>&&)> callback;
  };

  auto continuation = std::make_unique<Calling>();
  continuation->callback = std::move(callback);
  return outcome([&] { future.state()->attach(std::move(continuation)); });
}

using Operation = std::string (*)(Subject&);

constexpr Operation GET = [](Subject& s) { return outcome([&] { return s.future.get(); }); };
constexpr Operation WAIT = [](Subject& s) { return outcome([&] { s.future.wait(); }); };
constexpr Operation HAS_EXCEPTION = [](Subject& s) {
  return outcome([&] { return s.future.hasException(); });
};
constexpr Operation SET_VALUE = [](Subject& s) {
  return outcome([&] { s.promise.setValue(++s.results); });
};
constexpr Operation SET_EXCEPTION = [](Subject& s) {
  const std::runtime_error failure("failure " + std::to_string(++s.results));
  return outcome([&] { s.promise.setException(std::make_exception_ptr(failure)); });
};
constexpr Operation CANCEL = [](Subject& s) {
  return outcome([&] { return s.future.state()->cancel(); });
};
constexpr Operation ATTACH = [](Subject& s) {
  return attach(s.future, [&](Future<int>&&) { s.runs += ", ran"; });
};

TEST(Future, KeepsItsContractInEveryState) {
  const std::vector<Operation> columns = {GET,           WAIT,   HAS_EXCEPTION, SET_VALUE,
                                          SET_EXCEPTION, CANCEL, ATTACH};
  constexpr auto blocks = ""; // not tried

  // The steps before, and the outcome of each operation in `columns` after them.
  // clang-format off
  const std::vector<std::pair<std::vector<Operation>, std::vector<std::string>>> rows = {
      //                         GET          WAIT    HAS_EXCEPTION  SET_VALUE    SET_EXCEPTION  CANCEL   ATTACH
      {{},                      {blocks,      blocks, "false",       "done",      "done",        "true",  "done"}},
      {{SET_VALUE},             {"1",         "done", "false",       RESOLVED,    RESOLVED,      "false", "done, ran"}},
      {{SET_EXCEPTION},         {"failure 1", "done", "true",        RESOLVED,    RESOLVED,      "false", "done, ran"}},
      {{CANCEL},                {CANCELLED,   "done", "false",       "done",      "done",        "false", CANCELLED}},
      {{SET_VALUE, GET},        {TAKEN,       "done", "false",       RESOLVED,    RESOLVED,      "false", TAKEN}},
      {{SET_EXCEPTION, GET},    {TAKEN,       "done", "true",        RESOLVED,    RESOLVED,      "false", TAKEN}},
      {{CANCEL, GET},           {TAKEN,       "done", "false",       "done",      "done",        "false", TAKEN}},
      {{ATTACH},                {TAKEN,       blocks, "false",       "done, ran", "done, ran",   "true",  TAKEN}},
      {{ATTACH, SET_VALUE},     {"1",         "done", "false",       RESOLVED,    RESOLVED,      "false", "done, ran"}},
      {{ATTACH, SET_EXCEPTION}, {"failure 1", "done", "true",        RESOLVED,    RESOLVED,      "false", "done, ran"}},
      {{ATTACH, CANCEL},        {TAKEN,       "done", "false",       "done",      "done",        "false", TAKEN}},
  };
  // clang-format on
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const auto& [steps, outcomes] = rows[row];
    for (std::size_t column = 0; column < columns.size(); ++column) {
      SCOPED_TRACE("row " + std::to_string(row) + ", column " + std::to_string(column));
      if (outcomes[column] == blocks) {
        continue;
      }
      Subject subject;
      for (const Operation step : steps) {
        step(subject);
      }
      subject.runs.clear();
      const std::string text = columns[column](subject);
      EXPECT_EQ(text + subject.runs, outcomes[column]);
      if (outcomes[1] == "done" && columns[column] != GET) {
        EXPECT_EQ(GET(subject), outcomes[0]) << "The result did not survive.";
      }
    }
  }
}

TEST(Future, IsInvalidOnceMovedFrom) {
  Subject from;
  Subject to;
  to.future = std::move(from.future);

  EXPECT_FALSE(from.future.valid());
  for (const Operation operation : {GET, WAIT, HAS_EXCEPTION, CANCEL, ATTACH}) {
    EXPECT_EQ(operation(from), "Future state isn't valid!");
  }
  EXPECT_EQ(SET_VALUE(from), "done");
  EXPECT_EQ(GET(to), "1");
}

using ThreadOutcome = std::future<std::string>;

ThreadOutcome onThread(Operation operation, const Promise<int>& promise) {
  return std::async(std::launch::async, [operation, promise] {
    Subject subject(promise);
    return operation(subject);
  });
}

bool endsWithin(int milliseconds, const ThreadOutcome& thread) {
  return thread.wait_for(std::chrono::milliseconds(milliseconds)) == std::future_status::ready;
}

TEST(Future, WakesItsOneReaderAndEveryWaiter) {
  const std::vector<std::pair<Operation, std::string>> rows = {
      {SET_VALUE, "1"}, {SET_EXCEPTION, "failure 1"}, {CANCEL, CANCELLED}};
  for (const auto& [settle, result] : rows) {
    Subject subject;
    auto waiter = onThread(WAIT, subject.promise);
    EXPECT_FALSE(endsWithin(20, waiter));
    auto reader = onThread(GET, subject.promise);
    auto late = onThread(GET, subject.promise);
    while (!endsWithin(1, late)) {
      std::swap(reader, late); // either may be second, and the second reader is refused
    }
    EXPECT_EQ(late.get(), TAKEN);
    settle(subject);

    EXPECT_EQ(reader.get(), result);
    EXPECT_EQ(waiter.get(), "done");
  }
}

TEST(Future, HasOneResultInARace) {
  for (int round = 0; round < 200; ++round) {
    for (const Operation otherOperation : {SET_EXCEPTION, CANCEL, ATTACH}) {
      Subject subject;
      Subject setter(subject.promise);
      std::atomic<int> missing = 2;
      const auto together = [&missing](Operation operation, Subject& target) {
        for (--missing; missing != 0;) {
          std::this_thread::yield();
        }
        return operation(target);
      };
      auto second =
          std::async(std::launch::async, [&] { return together(otherOperation, subject); });
      const std::string set = together(SET_VALUE, setter);
      const std::string otherOutcome = second.get();

      ASSERT_EQ(set, otherOperation == SET_EXCEPTION && otherOutcome == "done" ? RESOLVED : "done");
      const std::string result = set == RESOLVED ? "failure 1" : "1";
      ASSERT_EQ(GET(subject), otherOutcome == "true" ? CANCELLED : result);
      ASSERT_EQ(subject.runs, otherOperation == ATTACH ? ", ran" : "");
    }
  }
}

TEST(Continuation, RunsOnTheResolvingThreadWithoutTheLock) {
  Subject subject;
  std::thread::id ranOn;
  std::vector<std::string> seen;
  attach(subject.future, [&](Future<int>&& given) {
    ranOn = std::this_thread::get_id();
    seen = {WAIT(subject), SET_VALUE(subject), CANCEL(subject),
            outcome([&] { return given.get(); })};
  });
  std::thread([&] { SET_VALUE(subject); }).join();

  EXPECT_NE(ranOn, std::this_thread::get_id());
  EXPECT_THAT(seen, ElementsAre("done", RESOLVED, "false", "1"));
  EXPECT_EQ(GET(subject), TAKEN);
}

TEST(Continuation, MayThrowWithoutHarmToWaitersAndResult) {
  Subject subject;
  attach(subject.future, [](Future<int>&&) { throw std::runtime_error("thrown"); });
  auto waiter = onThread(WAIT, subject.promise);
  EXPECT_FALSE(endsWithin(20, waiter));

  EXPECT_EQ(SET_VALUE(subject), "thrown");
  EXPECT_EQ(waiter.get(), "done");
  EXPECT_EQ(GET(subject), "1");
}

TEST(Continuation, MayReleaseEveryOtherOwner) {
  auto promise = std::make_unique<Promise<int>>();
  const std::weak_ptr<detail::SharedFutureState<int>> state = promise->getFuture().state();
  attach(promise->getFuture(), [&](Future<int>&& given) {
    promise.reset();
    EXPECT_EQ(given.get(), 1);
  });
  promise->setValue(1);
  EXPECT_TRUE(state.expired());
}

/// Throws when it is moved too often, as if memory had run out.
struct Scarce { // NOLINT(cppcoreguidelines-special-member-functions): the others are not used
  inline static int movesLeft = 0;

  Scarce() = default;

  Scarce(Scarce&& /*other*/) { // NOLINT(*-noexcept-move*): it has to throw
    if (movesLeft-- == 0) {
      throw std::bad_alloc();
    }
  }
};

TEST(Future, StaysPendingIfItsResultCannotBeStored) {
  Subject subject;
  EXPECT_THROW(subject.promise.setException(nullptr), std::invalid_argument);
  EXPECT_EQ(SET_VALUE(subject), "done");

  Promise<Scarce> promise;
  for (const int moves : {0, 1}) {
    Scarce::movesLeft = moves;
    EXPECT_THROW(promise.setValue(Scarce()), std::bad_alloc);
  }
  Scarce::movesLeft = 2;
  promise.setValue(Scarce());
  EXPECT_THROW(promise.getFuture().get(), std::bad_alloc);
  EXPECT_THROW(promise.getFuture().get(), std::runtime_error)
      << "The result can be read only once.";
}

} // namespace
} // namespace connector
