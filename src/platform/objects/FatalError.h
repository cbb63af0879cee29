// SPDX-License-Identifier: MIT

// Ends the process after an error of the caller that the library cannot recover from.

#pragma once

#include <cstdio>
#include <cstdlib>

namespace ox {

// Writes one line with `reason` to standard error and aborts the process. Thread-safe.
[[noreturn]] inline void fatalError(const char* reason) noexcept {
  static_cast<void>(std::fprintf(stderr, "OrvexKit: %s\n", reason));
  std::abort();
}

}  // namespace ox
