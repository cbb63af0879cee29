// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>

#include <chrono>

/// Seconds since 1970-01-01 00:00 UTC, as a double. May be fractional, negative, infinite or
/// not-a-number; the last two name no time. A nullable date is `std::optional<OXDate>`.
/// \ingroup types
using OXDate = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;
