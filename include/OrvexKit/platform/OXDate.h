// Points in time, as the library takes and gives them.

#pragma once

#include <chrono>

// Seconds since 1970-01-01 00:00 UTC, as a double: fractions, times before that day, and infinities
// and not-a-number, which name no time, are all values. A date that may be absent is a
// `std::optional<OXDate>`.
using OXDate = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;
