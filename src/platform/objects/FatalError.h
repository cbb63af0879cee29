// What the library does when its caller broke a rule that nothing sensible can follow from.

#pragma once

#include <cstdio>
#include <cstdlib>

namespace ox {

// Writes one line with `reason` to standard error and aborts the process. Any thread.
[[noreturn]] inline void fatalError(const char* reason) noexcept {
  static_cast<void>(std::fprintf(stderr, "OrvexKit: %s\n", reason));
  std::abort();
}

}  // namespace ox
