// SPDX-License-Identifier: MIT

// Generates many strings, to compare two implementations of a rule.

#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/Share.h"

namespace ox::test {

// The number of letters in the longest enumerated string, and the number of random strings.
constexpr std::size_t mostLetters = 7;
constexpr int randomStringCount = 200'000;

// By default compares every string of up to this many letters, one in ten of the longer ones, and
// enough random ones to take each branch.
constexpr std::size_t alwaysComparedLetters = 4;
constexpr int oneLongIn = 10;
constexpr int oneRandomIn = 4;

// A letter may consist of several characters.
using Alphabet = std::vector<std::string>;

// Letters that reach every branch of the path operations and of the rules for archive extensions
// and numbered volumes.
inline const Alphabet& letters() {
  static const Alphabet letters{"a", ".", "/", "r", "0", "1", "T", "t"};
  return letters;
}

// Calls `check` with the strings of up to `longest` letters (all or some, as above), shortest
// first, until a check fails: so the reported string is a shortest one.
template <typename Check>
void forEveryString(const Alphabet& alphabet, std::size_t longest, Check check) {
  std::mt19937 choice;
  for (std::size_t length = 0; length <= longest; ++length) {
    const bool isEachWanted = length <= alwaysComparedLetters || isEverythingWanted();
    std::vector<std::size_t> indices(length);
    bool more = true;
    while (more) {
      if (isEachWanted || choice() % oneLongIn == 0) {
        std::string text;
        for (const std::size_t index : indices) {
          text += alphabet[index];
        }
        check(text);
        if (testing::Test::HasFailure()) {
          return;
        }
      }
      // Increments the number, starting with the last digit.
      std::size_t place = length;
      while (place > 0 && ++indices[place - 1] == alphabet.size()) {
        indices[--place] = 0;
      }
      more = place > 0;
    }
  }
}

// Calls `check` with `randomStringCount` strings (all or some, as above) of up to `longest` random
// letters, until a check fails. They are the same in every run.
template <typename Check>
void forRandomStrings(const Alphabet& alphabet, std::size_t longest, std::uint64_t seed,
                      Check check) {
  std::mt19937_64 random(seed);
  const int count = shareOf(randomStringCount, oneRandomIn);
  for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    std::string text;
    for (std::uint64_t left = random() % (longest + 1); left > 0; --left) {
      text += alphabet[static_cast<std::size_t>(random() % alphabet.size())];
    }
    check(text);
  }
}

}  // namespace ox::test
