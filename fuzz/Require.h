// How a target says what must hold.

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

// The view ends where the input does: whatever reads on is found by the address sanitizer.
inline std::string_view asText(const unsigned char* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace ox::fuzz
