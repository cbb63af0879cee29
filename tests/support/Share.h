// SPDX-License-Identifier: MIT

// How much of its work a test does that compares or tries many things.

#pragma once

#include <cstdlib>

namespace ox::test {

// Whether to do all of it: if OX_TEST_EVERYTHING is set, as by `scripts/test all`. Otherwise a test
// does a share, the same one in every run.
inline bool isEverythingWanted() {
  return std::getenv("OX_TEST_EVERYTHING") != nullptr;
}

// All of `count`, or one in `oneIn`.
inline int shareOf(int count, int oneIn = 10) {
  return isEverythingWanted() ? count : count / oneIn;
}

}  // namespace ox::test
