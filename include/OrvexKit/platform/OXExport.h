// Marks what the shared library offers; everything else stays hidden in it.

#pragma once

#if __cplusplus < 202002L
#error "OrvexKit needs C++20: compile with -std=c++20 or newer"
#endif

// A function, class or constant that programs outside the library may use.
#define OX_EXPORT __attribute__((visibility("default")))

// A member of an exported class that is for the library's own use.
#define OX_INTERNAL __attribute__((visibility("hidden")))
