// Of what goes wrong with strings, the library throws `std::bad_alloc` alone.

#pragma once

#include <new>
#include <stdexcept>

namespace ox {

// Gives what `work` gives. A string that would be longer than a string can be, as 2 GiB are on
// 32-bit processors, is one that there is no memory for.
template <typename Work>
auto orBadAlloc(Work work) {
  try {
    return work();
  } catch (const std::length_error&) {
    throw std::bad_alloc();
  }
}

}  // namespace ox
