// SPDX-License-Identifier: MIT

// Checks of the fuzz targets.

#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace ox::fuzz {

inline void require(bool condition, const char* what) {
  if (!condition) {
    static_cast<void>(std::fprintf(stderr, "does not hold: %s\n", what));
    std::abort();
  }
}

// The view ends at the input's end, so the address sanitizer detects reads beyond it.
inline std::string_view asText(const unsigned char* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace ox::fuzz
