// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "console/Failure.h"

namespace oxarchive {

// The resources that reading an archive may take.
struct Limits {
  std::uint64_t memory = std::uint64_t{2} << 30U;  // of the process that reads it, in bytes
  std::uint64_t patience = 60;  // in seconds of its processor time without progress
  std::uint64_t entries = UINT64_MAX;
  std::uint64_t size = UINT64_MAX;  // of all that is extracted, in bytes
};

// Throws ArchiveFailure when there are more of `what` than `limit`.
inline void checkLimit(std::uint64_t count, std::uint64_t limit, const char* what) {
  if (count > limit) {
    throw ArchiveFailure(std::string("it has more ") + what + " than the limit of " +
                         std::to_string(limit));
  }
}

// The exit code of a process that was ended because it made no progress.
inline constexpr int gaveUp = 113;

// Ends this process with the exit code `gaveUp` after this many seconds of its processor time
// without a call of `noteHeadway`: a hostile archive may send a parser into an endless loop. Calls
// `beforeEnd` first, in a signal handler that interrupts the parser.
void demandHeadway(
    std::uint64_t seconds, std::function<void()> beforeEnd = [] {});

// Call when an entry or a part of one has been read.
void noteHeadway();

}  // namespace oxarchive
