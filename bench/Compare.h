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

/// Measures the same work on little and on much; the counter "ratio" is the quotient of the two
/// medians of the time per item.
template <typename Little, typename Much>
void compareGrowth(benchmark::State& state, const Little& little, std::size_t littleItems,
                   const Much& much, std::size_t muchItems) {
  std::vector<double> perItemOfLittle;
  std::vector<double> perItemOfMuch;
  for ([[maybe_unused]] auto round : state) {
    // As many items on both sides, so that neither is measured on a warmer machine.
    double total = 0;
    for (std::size_t done = 0; done < muchItems; done += littleItems) {
      total += little();
    }
    perItemOfLittle.push_back(total / static_cast<double>(muchItems));
    const double time = much();
    perItemOfMuch.push_back(time / static_cast<double>(muchItems));
    state.SetIterationTime(time);
  }
  state.counters["ratio"] = median(perItemOfMuch) / median(perItemOfLittle);
}

} // namespace connector::bench
