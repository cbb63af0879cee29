// Strings in great number, to hold two statements of one rule against each other.

#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace ox::test {

// How many letters the longest of all the strings over an alphabet has, and how many random strings
// there are.
constexpr std::size_t mostLetters = 7;
constexpr int randomStringCount = 200'000;

// By default every string of up to this many letters is compared, one in ten of the longer ones,
// and so many of the random ones that each branch is still taken: the same ones in every run. All
// of them are compared if OX_TEST_EVERY_STRING is set, as `scripts/test all` does.
constexpr std::size_t alwaysComparedLetters = 4;
constexpr int oneLongIn = 10;
constexpr int oneRandomIn = 4;

inline bool everyStringIsWanted() {
  return std::getenv("OX_TEST_EVERY_STRING") != nullptr;
}

// A letter may be several characters long.
using Alphabet = std::vector<std::string>;

// Letters that reach every branch of the path operations and of the rules on archive extensions and
// numbered volumes.
inline const Alphabet& letters() {
  static const Alphabet letters{"a", ".", "/", "r", "0", "1", "T", "t"};
  return letters;
}

// Calls `check` with the strings of up to `longest` letters (all or some, as above), the shorter
// ones first, until a check fails: what is reported is a shortest one that does.
template <typename Check>
void forEveryString(const Alphabet& alphabet, std::size_t longest, Check check) {
  std::mt19937 choice;
  for (std::size_t length = 0; length <= longest; ++length) {
    const bool isEachWanted = length <= alwaysComparedLetters || everyStringIsWanted();
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
      // Counts up, the last place first.
      std::size_t place = length;
      while (place > 0 && ++indices[place - 1] == alphabet.size()) {
        indices[--place] = 0;
      }
      more = place > 0;
    }
  }
}

// Calls `check` with `randomStringCount` strings, or some of them as above, of a random number
// of letters, up to `longest`, until a check fails. The strings are the same ones in every run.
template <typename Check>
void forRandomStrings(const Alphabet& alphabet, std::size_t longest, std::uint64_t seed,
                      Check check) {
  std::mt19937_64 random(seed);
  const int count = everyStringIsWanted() ? randomStringCount : randomStringCount / oneRandomIn;
  for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    std::string text;
    for (std::uint64_t left = random() % (longest + 1); left > 0; --left) {
      text += alphabet[static_cast<std::size_t>(random() % alphabet.size())];
    }
    check(text);
  }
}

}  // namespace ox::test
