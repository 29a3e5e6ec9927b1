#include <connector/file/v1/FileFutures.h>
#include <connector/file/v1/Future.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace connector {
namespace {

using file::v1::DataBuffer;
using file::v1::File;
using file::v1::FileInfo;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

constexpr auto RESOLVED = "Promise already resolved.";
constexpr auto CANCELLED = "Future has been cancelled.";
constexpr auto INVALID = "Future state isn't valid!";
constexpr auto TAKEN = "Future already returned it's value or has an associated continuation.";

std::exception_ptr failure(int number) {
  return std::make_exception_ptr(std::domain_error("failure " + std::to_string(number)));
}

/// What the action returned, or the text of the stored exception or of the library's own error.
template <typename Action>
std::string outcome(const Action& action) {
  using Returned = decltype(action());
  try {
    if constexpr (std::is_void_v<Returned>) {
      action();
      return "done";
    } else if constexpr (std::is_same_v<Returned, bool>) {
      return action() ? "true" : "false";
    } else {
      return "value " + std::to_string(action());
    }
  } catch (const std::domain_error& stored) {
    return stored.what();
  } catch (const std::runtime_error& own) {
    return own.what();
  }
}

/// Both ends of one state. Its results are numbered.
struct Subject {
  explicit Subject(const Promise<int>& shared = {})
      : promise(shared) {}

  Promise<int> promise;
  Future<int> future = promise.getFuture();
  int results = 0;
  std::string runs; // of its continuations
};

template <typename Callback>
std::string attach(const Future<int>& future, Callback callback) {
  struct Calling : Continuation<int> {
    explicit Calling(Callback callee)
        : callback(std::move(callee)) {}

    void invoke(Future<int>&& given) override { callback(std::move(given)); }

    Callback callback;
  };

  auto continuation = std::make_unique<Calling>(std::move(callback));
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
  return outcome([&] { s.promise.setException(failure(++s.results)); });
};
constexpr Operation CANCEL = [](Subject& s) {
  return outcome([&] { return s.future.state()->cancel(); });
};
constexpr Operation ATTACH = [](Subject& s) {
  return attach(s.future, [&](Future<int>&&) { s.runs += ", ran"; });
};

constexpr std::array OPERATIONS = {GET,           WAIT,   HAS_EXCEPTION, SET_VALUE,
                                   SET_EXCEPTION, CANCEL, ATTACH};
constexpr auto BLOCKS = ""; // not to be tried on one thread

struct Condition {
  std::vector<Operation> road;
  std::vector<std::string> outcomes; // of each of the OPERATIONS
};

void expectContract(const Condition& condition, std::size_t column) {
  Subject subject;
  for (const Operation step : condition.road) {
    step(subject);
  }
  subject.runs.clear();
  const std::string text = OPERATIONS[column](subject);
  EXPECT_EQ(text + subject.runs, condition.outcomes[column]);

  const bool settled = condition.outcomes[1] != BLOCKS;
  if (settled && OPERATIONS[column] != GET) {
    EXPECT_EQ(GET(subject), condition.outcomes[0]) << "The result did not survive.";
  }
}

TEST(Future, KeepsItsContractInEveryCondition) {
  // clang-format off
  const std::vector<Condition> conditions = {
      {{}, {BLOCKS, BLOCKS, "false", "done", "done", "true", "done"}},
      {{SET_VALUE}, {"value 1", "done", "false", RESOLVED, RESOLVED, "false", "done, ran"}},
      {{SET_EXCEPTION}, {"failure 1", "done", "true", RESOLVED, RESOLVED, "false", "done, ran"}},
      {{CANCEL}, {CANCELLED, "done", "false", "done", "done", "false", CANCELLED}},
      {{SET_VALUE, GET}, {TAKEN, "done", "false", RESOLVED, RESOLVED, "false", TAKEN}},
      {{SET_EXCEPTION, GET}, {TAKEN, "done", "true", RESOLVED, RESOLVED, "false", TAKEN}},
      {{CANCEL, GET}, {TAKEN, "done", "false", "done", "done", "false", TAKEN}},
      {{ATTACH}, {TAKEN, BLOCKS, "false", "done, ran", "done, ran", "true", TAKEN}},
      {{ATTACH, SET_VALUE}, {"value 1", "done", "false", RESOLVED, RESOLVED, "false", "done, ran"}},
      {{ATTACH, SET_EXCEPTION}, {"failure 1", "done", "true", RESOLVED, RESOLVED, "false", "done, ran"}},
      {{ATTACH, CANCEL}, {TAKEN, "done", "false", "done", "done", "false", TAKEN}},
  };
  // clang-format on
  for (std::size_t row = 0; row < conditions.size(); ++row) {
    for (std::size_t column = 0; column < OPERATIONS.size(); ++column) {
      SCOPED_TRACE("row " + std::to_string(row) + ", column " + std::to_string(column));
      if (conditions[row].outcomes[column] != BLOCKS) {
        expectContract(conditions[row], column);
      }
    }
  }
}

TEST(Future, IsInvalidWithoutAState) {
  static_assert(!std::is_copy_constructible_v<Future<int>>, "a result has one reader");
  Subject from;
  Subject to;
  to.future = std::move(from.future);
  Subject empty;
  empty.future = {};

  for (Subject* subject : {&from, &empty}) {
    EXPECT_FALSE(subject->future.valid());
    for (const Operation operation : {GET, WAIT, HAS_EXCEPTION, CANCEL, ATTACH}) {
      EXPECT_EQ(operation(*subject), INVALID);
    }
  }
  EXPECT_EQ(SET_VALUE(from), "done");
  EXPECT_TRUE(to.future.valid());
  EXPECT_EQ(GET(to), "value 1");
}

TEST(Future, LeavesItsStateToWhoeverStillOwnsIt) {
  EXPECT_EQ(makeReadyFuture(1).state()->get(), 1);

  Promise<int> promise;
  const Promise<int> moved(std::move(promise)); // NOLINT(performance-move-const-arg): it copies
  promise.setValue(2); // NOLINT(bugprone-use-after-move): so it has a state
  EXPECT_EQ(moved.getFuture().get(), 2);
}

/// The operation on another thread, which has had time to block in it.
std::future<std::string> blockedIn(Operation operation, const Promise<int>& promise) {
  auto thread = std::async(std::launch::async, [operation, promise] {
    Subject subject(promise);
    return operation(subject);
  });
  EXPECT_EQ(thread.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  return thread;
}

TEST(Future, WakesEveryBlockedReaderWithOneResult) {
  const std::vector<std::pair<Operation, std::string>> rows = {
      {SET_VALUE, "value 1"}, {SET_EXCEPTION, "failure 1"}, {CANCEL, CANCELLED}};
  for (const auto& [settle, result] : rows) {
    Subject subject;
    auto reader = blockedIn(GET, subject.promise);
    auto waiter = blockedIn(WAIT, subject.promise);
    auto anotherWaiter = blockedIn(WAIT, subject.promise);
    settle(subject);

    EXPECT_EQ(reader.get(), result);
    EXPECT_EQ(waiter.get(), "done");
    EXPECT_EQ(anotherWaiter.get(), "done");
  }
}

constexpr int ROUNDS = 200;

/// Lets that many threads do their numbered work at once.
template <typename Work>
std::vector<std::string> race(std::size_t count, const Work& work) {
  std::atomic<std::size_t> missing = count;
  std::vector<std::string> outcomes(count);
  std::vector<std::thread> threads(count);
  for (std::size_t number = 0; number < count; ++number) {
    threads[number] = std::thread([&, number] {
      for (--missing; missing != 0;) {
        std::this_thread::yield();
      }
      outcomes[number] = work(number);
    });
  }
  std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
  return outcomes;
}

TEST(Future, LetsOneOfManyRacingResultsWin) {
  for (int round = 0; round < ROUNDS; ++round) {
    Subject subject;
    const auto outcomes = race(4, [&](auto number) {
      Subject racer(subject.promise);
      racer.results = static_cast<int>(number);
      return number % 2 == 0 ? SET_VALUE(racer) : SET_EXCEPTION(racer);
    });

    ASSERT_THAT(outcomes, UnorderedElementsAre("done", RESOLVED, RESOLVED, RESOLVED));
    const auto winner = std::find(outcomes.begin(), outcomes.end(), "done") - outcomes.begin();
    ASSERT_EQ(GET(subject), (winner % 2 == 0 ? "value " : "failure ") + std::to_string(winner + 1));
  }
}

TEST(Future, LetsOneOfManyRacingReadersReadAndRefusesTheOthersAtOnce) {
  for (int round = 0; round < ROUNDS; ++round) {
    Subject subject;
    std::atomic<int> refused = 0;
    const auto read = [&] {
      Subject racer(subject.promise);
      auto text = GET(racer);
      refused += text == TAKEN ? 1 : 0;
      return text;
    };
    const auto set = [&] {
      while (refused != 2) {
        std::this_thread::yield();
      }
      return SET_VALUE(subject);
    };
    ASSERT_THAT(race(4, [&](auto number) { return number == 0 ? set() : read(); }),
                UnorderedElementsAre("done", "value 1", TAKEN, TAKEN));
  }
}

TEST(Future, IsEitherCancelledOrResolvedWhenBothRace) {
  for (int round = 0; round < ROUNDS; ++round) {
    Subject subject;
    const auto outcomes =
        race(2, [&](auto number) { return number == 0 ? CANCEL(subject) : SET_VALUE(subject); });

    ASSERT_EQ(outcomes[1], "done");
    ASSERT_EQ(GET(subject), outcomes[0] == "true" ? CANCELLED : "value 1");
  }
}

TEST(Future, LetsItsReaderEndThePromise) {
  for (int round = 0; round < ROUNDS; ++round) {
    auto promise = std::make_unique<Promise<int>>();
    std::thread producer([ends = promise.get()] { ends->setValue(1); });
    const int read = promise->getFuture().get();
    promise.reset(); // while the producer may still be waking us
    producer.join();
    ASSERT_EQ(read, 1);
  }
}

TEST(Continuation, RunsOnceWhenAttachingAndResolvingRace) {
  for (int round = 0; round < ROUNDS; ++round) {
    Subject subject;
    const auto outcomes =
        race(2, [&](auto number) { return number == 0 ? ATTACH(subject) : SET_VALUE(subject); });

    ASSERT_THAT(outcomes, Each("done"));
    ASSERT_EQ(subject.runs, ", ran");
  }
}

TEST(Continuation, ReadsTheResultOnTheResolvingThreadWithoutTheLock) {
  Subject subject;
  std::thread::id ranOn;
  std::vector<std::string> seen;
  attach(subject.future, [&](Future<int>&& given) {
    ranOn = std::this_thread::get_id();
    seen = {WAIT(subject), HAS_EXCEPTION(subject), SET_VALUE(subject), CANCEL(subject),
            outcome([&] { return given.get(); })};
  });
  std::thread producer([&] { SET_VALUE(subject); });
  const auto resolvedOn = producer.get_id();
  producer.join();

  EXPECT_EQ(ranOn, resolvedOn);
  EXPECT_THAT(seen, ElementsAre("done", "false", RESOLVED, "false", "value 1"));
  EXPECT_EQ(GET(subject), TAKEN);
}

TEST(Continuation, MayThrowWithoutHarmToTheWaitersOrTheResult) {
  Subject subject;
  attach(subject.future, [](Future<int>&&) { throw std::domain_error("thrown"); });
  auto waiter = blockedIn(WAIT, subject.promise);

  EXPECT_EQ(SET_VALUE(subject), "thrown");
  EXPECT_EQ(waiter.get(), "done");
  EXPECT_EQ(GET(subject), "value 1");
}

TEST(Continuation, MayDropEveryOtherOwner) {
  auto promise = std::make_unique<Promise<int>>();
  const std::weak_ptr<detail::SharedFutureState<int>> state = promise->getFuture().state();
  std::string read;
  attach(promise->getFuture(), [&](Future<int>&& given) {
    promise.reset();
    read = outcome([&] { return given.get(); });
  });
  promise->setValue(1);

  EXPECT_EQ(read, "value 1");
  EXPECT_TRUE(state.expired());
}

TEST(Continuation, GoesUnrunWithACancelledState) {
  auto subject = std::make_unique<Subject>();
  const auto ran = std::make_shared<bool>(false);
  attach(subject->future, [ran](Future<int>&&) { *ran = true; });
  CANCEL(*subject);
  subject.reset();

  EXPECT_FALSE(*ran);
  EXPECT_EQ(ran.use_count(), 1);
}

/// Can be moved only so often, as if memory had run out.
struct Scarce { // NOLINT(cppcoreguidelines-special-member-functions): the others play no part
  inline static int movesLeft = 0;

  Scarce() = default;

  Scarce(Scarce&& /*other*/) { // NOLINT(*-noexcept-move*): it has to throw
    if (movesLeft-- == 0) {
      throw std::bad_alloc();
    }
  }
};

TEST(Future, StaysPendingWhenItsResultCannotBeStored) {
  Promise<Scarce> promise;
  int refusals = 0;
  for (bool stored = false; !stored;) {
    Scarce::movesLeft = refusals;
    try {
      promise.setValue(Scarce());
      stored = true;
    } catch (const std::bad_alloc&) {
      ++refusals; // and again, so that each move on the way fails once
    }
  }
  EXPECT_GE(refusals, 1);

  Scarce::movesLeft = 0;
  EXPECT_THROW(promise.getFuture().get(), std::bad_alloc);
  EXPECT_THROW(promise.getFuture().get(), std::runtime_error)
      << "A failed get is the only one too.";
}

/// `look` tells what matters of a value.
template <typename Make, typename Look>
void expectCarried(const Make& make, const Look& look) {
  using T = decltype(make());
  SCOPED_TRACE(typeid(T).name());
  Promise<T> promise;
  std::thread producer([&] { promise.setValue(make()); });
  EXPECT_EQ(look(promise.getFuture().get()), look(make()));
  producer.join();

  Future<T> failed = makeFailedFuture<T>(failure(1));
  EXPECT_TRUE(failed.hasException());
  EXPECT_THROW((void)failed.get(), std::domain_error);
}

TEST(Future, CarriesEveryResultOfTheFileService) {
  struct Note : Message {};

  expectCarried([] { return true; }, [](bool value) { return value; });
  expectCarried([] { return FileInfo(u"/w/a", false); },
                [](const FileInfo& info) { return info.getLocation(); });
  expectCarried([] { return File(FileInfo(u"/w/a", false), DataBuffer("bytes")); },
                [](const File& file) { return std::string(file.getContents().view()); });
  expectCarried([] { return std::vector<FileInfo>(3); },
                [](const std::vector<FileInfo>& infos) { return infos.size(); });
  expectCarried([] { return std::unique_ptr<Message>(std::make_unique<Note>()); },
                [](const std::unique_ptr<Message>& message) {
                  return dynamic_cast<const Note*>(message.get()) != nullptr;
                });
}

} // namespace
} // namespace connector
