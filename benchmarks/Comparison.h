// What is measured here is a ratio wherever there is something to compare with: how many times as
// fast the library is as a peer that does the same in the same run.
//
// The names of the results make the comparison: "rule/ours" is the library, and every other
// "rule/some_peer" is compared to it in one row of the table that scripts/bench prints. A peer that
// knows how fast the library has to be beside it says so by `wantTimesAsFast`.
//
//   BENCHMARK(archiveExtension)->Name("archiveExtension/ours");
//   BENCHMARK(archiveExtensionOverPaths)->Name("archiveExtension/std_filesystem");
//
// A peer first makes sure that its results are ours (`state.SkipWithError` when they are not), so
// that nothing is compared that does not do the same.

#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace ox::bench {

// The library is to be at least `times` times as fast as this peer; 0.8 allows it a quarter more
// time than the peer takes.
inline void wantTimesAsFast(benchmark::State& state, double times) {
  state.counters["wanted"] = times;
}

// A figure of the library that is no ratio, for a table of its own; its name tells the unit.
inline void stateFigure(benchmark::State& state, const std::string& name, double value) {
  state.counters["figure " + name] = value;
}

// The same for a figure that is to stay below `limit`.
inline void stateFigure(benchmark::State& state, const std::string& name, double value,
                        double limit) {
  stateFigure(state, name, value);
  state.counters["limit " + name] = limit;
}

}  // namespace ox::bench
