// Strings in great number, to hold two statements of one rule against each other.

#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace ox::test {

// How many letters the longest of all the strings over an alphabet has, and how many random strings
// there are: with sanitizers on, a comparison still takes seconds only.
constexpr std::size_t mostLetters = 7;
constexpr int randomStringCount = 200'000;

// A letter may be several characters long.
using Alphabet = std::vector<std::string>;

// Letters that reach every branch of the path operations and of the rules on archive extensions and
// numbered volumes.
inline const Alphabet& letters() {
  static const Alphabet letters{"a", ".", "/", "r", "0", "1", "T", "t"};
  return letters;
}

// Calls `check` with every string of up to `longest` letters, the shorter ones first, until a
// check fails: what is reported is a shortest one that does.
template <typename Check>
void forEveryString(const Alphabet& alphabet, std::size_t longest, Check check) {
  for (std::size_t length = 0; length <= longest; ++length) {
    std::vector<std::size_t> indices(length);
    bool more = true;
    while (more) {
      std::string text;
      for (const std::size_t index : indices) {
        text += alphabet[index];
      }
      check(text);
      if (testing::Test::HasFailure()) {
        return;
      }
      // Counts up, the last place first.
      std::size_t place = length;
      while (place > 0 && ++indices[place - 1] == alphabet.size()) {
        indices[--place] = 0;
      }
      more = place > 0;
    }
  }
}

// Calls `check` with `randomStringCount` strings of a random number of letters, up to `longest`,
// until a check fails. The strings are the same ones in every run.
template <typename Check>
void forRandomStrings(const Alphabet& alphabet, std::size_t longest, std::uint64_t seed,
                      Check check) {
  std::mt19937_64 random(seed);
  for (int i = 0; i < randomStringCount && !testing::Test::HasFailure(); ++i) {
    std::string text;
    for (std::uint64_t left = random() % (longest + 1); left > 0; --left) {
      text += alphabet[static_cast<std::size_t>(random() % alphabet.size())];
    }
    check(text);
  }
}

}  // namespace ox::test
