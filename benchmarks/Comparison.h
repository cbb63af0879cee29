// What is measured here is never a time but a ratio: how many times as fast the library is as a
// peer that does the same in the same run.
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

namespace ox::bench {

// The library is to be at least `times` times as fast as this peer; 0.8 allows it a quarter more
// time than the peer takes.
inline void wantTimesAsFast(benchmark::State& state, double times) {
  state.counters["wanted"] = times;
}

}  // namespace ox::bench
