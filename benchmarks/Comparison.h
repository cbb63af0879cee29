// SPDX-License-Identifier: MIT

// Benchmarks measure ratios where possible: how many times as fast the library is as a peer that
// does the same work in the same run.
//
// The names define the comparison: "rule/ours" is the library, and each other "rule/some_peer" is
// compared with it in a row of the table that scripts/bench prints. `wantTimesAsFast` states the
// ratio that the library must reach.
//
//   BENCHMARK(archiveExtension)->Name("archiveExtension/ours");
//   BENCHMARK(archiveExtensionOverPaths)->Name("archiveExtension/std_filesystem");
//
// A peer first checks that its results equal the library's (`state.SkipWithError` if not), so that
// only the same work is compared.

#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace ox::bench {

// The library must be at least `times` times as fast as this peer; 0.8 allows a quarter more time
// than the peer takes.
inline void wantTimesAsFast(benchmark::State& state, double times) {
  state.counters["wanted"] = times;
}

// A figure of the library that is not a ratio, for a separate table; its name includes the unit.
inline void stateFigure(benchmark::State& state, const std::string& name, double value) {
  state.counters["figure " + name] = value;
}

// The same for a figure that must stay below `limit`.
inline void stateFigure(benchmark::State& state, const std::string& name, double value,
                        double limit) {
  stateFigure(state, name, value);
  state.counters["limit " + name] = limit;
}

}  // namespace ox::bench
