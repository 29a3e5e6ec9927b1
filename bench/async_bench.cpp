// Compares futures with the standard library's.

#include "Compare.h"

#include <connector/file/v1/FileFutures.h>

#include <benchmark/benchmark.h>

#include <future>
#include <thread>
#include <vector>

namespace {

using connector::bench::compare;

constexpr int TIMES = 10'000;

/// The result is set before `get`, as by every file operation.
void readyResult(benchmark::State& state) {
  compare(
      state, [] {},
      [] {
        for (int time = 0; time < TIMES; ++time) {
          benchmark::DoNotOptimize(connector::makeReadyFuture<bool>(true).get());
        }
      },
      [] {
        for (int time = 0; time < TIMES; ++time) {
          std::promise<bool> promise;
          promise.set_value(true);
          benchmark::DoNotOptimize(promise.get_future().get());
        }
      });
}

/// The result is set by another thread. The reader may have to be woken.
template <typename Promise, typename Set, typename Future>
void handOver(const Set& set, const Future& future) {
  std::vector<Promise> promises(TIMES);
  std::thread producer([&] {
    for (auto& promise : promises) {
      set(promise);
    }
  });
  for (auto& promise : promises) {
    benchmark::DoNotOptimize(future(promise).get());
  }
  producer.join();
}

void resultOfAnotherThread(benchmark::State& state) {
  const auto future = [](auto& promise) { return promise.getFuture(); };
  compare(
      state, [] {},
      [&] {
        handOver<connector::Promise<bool>>([](auto& promise) { promise.setValue(true); }, future);
      },
      [] {
        handOver<std::promise<bool>>([](auto& promise) { promise.set_value(true); },
                                     [](auto& promise) { return promise.get_future(); });
      });
}

} // namespace

BENCHMARK(readyResult)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(resultOfAnotherThread)->UseManualTime()->Unit(benchmark::kMillisecond);
