// SPDX-License-Identifier: MIT

// Reports every failure to allocate a string as `std::bad_alloc`.

#pragma once

#include <new>
#include <stdexcept>

namespace ox {

// Returns what `work` returns. Throws `std::bad_alloc` also for a string longer than `max_size()`,
// such as one of 2 GiB on 32-bit processors.
template <typename Work>
auto orBadAlloc(Work work) {
  try {
    return work();
  } catch (const std::length_error&) {
    throw std::bad_alloc();
  }
}

}  // namespace ox
