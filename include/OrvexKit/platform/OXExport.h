// SPDX-License-Identifier: MIT

#pragma once

#if __cplusplus < 202002L
// Unlike #error, this ends the compilation, so that it is the only message.
#include "OrvexKit needs C++20: compile with -std=c++20 or newer"
#endif

/// Exports a function, class or constant from the shared library. All else stays hidden in it.
/// \ingroup types
#define OX_EXPORT __attribute__((visibility("default")))

/// Hides a member of an exported class, which only the library uses.
/// \ingroup types
#define OX_INTERNAL __attribute__((visibility("hidden")))
