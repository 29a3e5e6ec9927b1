#pragma once

// A figure that means something on a shared machine: what we do beside the least that must be done,
// in turn, in one run. The counter "ratio" is the quotient of the two medians.

#include "Timing.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

namespace connector::bench {

/// Measures both in each round; `prepare` runs before each of them and is not measured. Needs
/// UseManualTime.
template <typename Prepare, typename Ours, typename Bare>
void compare(benchmark::State& state, const Prepare& prepare, const Ours& ours, const Bare& bare) {
  std::vector<double> oursTimes;
  std::vector<double> bareTimes;
  for ([[maybe_unused]] auto round : state) {
    prepare();
    bareTimes.push_back(timeOf(bare));
    prepare();
    oursTimes.push_back(timeOf(ours));
    state.SetIterationTime(oursTimes.back());
  }
  state.counters["ratio"] = median(oursTimes) / median(bareTimes);
}

/// How the time per item grows from `little` items to `much`: the counter "growth" is the median
/// of the rounds' quotients, and "bareGrowth" that of the least that must be done, whose own
/// growth, from caches that no longer hold everything, nothing above it can undo. Each `time` is
/// given a number of items and returns seconds.
template <typename TimeOurs, typename TimeBare>
void compareGrowth(benchmark::State& state, std::size_t little, std::size_t much,
                   const TimeOurs& timeOurs, const TimeBare& timeBare) {
  // As many items on both sides, so that neither is measured on a warmer machine.
  const auto timeAll = [&](std::size_t items, const auto& time) {
    double total = 0;
    for (std::size_t done = 0; done < much; done += items) {
      total += time(items);
    }
    return total;
  };
  std::vector<double> ours;
  std::vector<double> bare;
  for ([[maybe_unused]] auto round : state) {
    const double bareBase = timeAll(little, timeBare);
    bare.push_back(timeAll(much, timeBare) / bareBase);
    const double base = timeAll(little, timeOurs);
    const double time = timeAll(much, timeOurs);
    ours.push_back(time / base);
    state.SetIterationTime(time);
  }
  state.counters["growth"] = median(ours);
  state.counters["bareGrowth"] = median(bare);
}

} // namespace connector::bench
