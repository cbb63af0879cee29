#pragma once

#include <cstdint>

namespace oxarchive {

// What an archive may cost.
struct Limits {
  std::uint64_t memory = std::uint64_t{2} << 30U;  // of the process that reads it, in bytes
  std::uint64_t patience = 60;  // in seconds of its processor time without headway
  std::uint64_t entries = UINT64_MAX;
  std::uint64_t size = UINT64_MAX;  // of all that is extracted, in bytes
};

}  // namespace oxarchive
