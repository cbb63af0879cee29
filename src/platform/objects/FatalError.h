// What the library does when its caller broke a rule that nothing sensible can follow from.

#pragma once

namespace ox {

// Writes one line with `reason` to standard error and aborts the process. Any thread.
[[noreturn]] void fatalError(const char* reason) noexcept;

}  // namespace ox
