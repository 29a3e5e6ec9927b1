#pragma once

// Compares an operation of ours with the least work that it must do. Alternates the two in one run,
// so that the figures are valid on a shared machine.

#include "Timing.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

namespace connector::bench {

/// Measures both functions in each round; `prepare` runs before each of them and is not measured.
/// The counter "ratio" is the quotient of the two medians. Needs UseManualTime.
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

/// Measures how the time per item grows from `little` items to `much`. The counter "growth" is the
/// median over the rounds. "bareGrowth" is the same for the least work, which also slows down when
/// the data exceeds the caches. Each function takes a number of items.
template <typename Prepare, typename Ours, typename Bare>
void compareGrowth(benchmark::State& state, std::size_t little, std::size_t much,
                   const Prepare& prepare, const Ours& ours, const Bare& bare) {
  // Repeats the small work until it has as many items, so that both heat the machine equally.
  const auto timeAll = [&](std::size_t items, const auto& work) {
    double total = 0;
    for (std::size_t done = 0; done < much; done += items) {
      prepare(items);
      total += timeOf([&] { work(items); });
    }
    return total;
  };
  std::vector<double> growth;
  std::vector<double> bareGrowth;
  for ([[maybe_unused]] auto round : state) {
    const double bareLittle = timeAll(little, bare);
    bareGrowth.push_back(timeAll(much, bare) / bareLittle);
    const double oursLittle = timeAll(little, ours);
    const double oursMuch = timeAll(much, ours);
    growth.push_back(oursMuch / oursLittle);
    state.SetIterationTime(oursMuch);
  }
  state.counters["growth"] = median(growth);
  state.counters["bareGrowth"] = median(bareGrowth);
}

} // namespace connector::bench
