// Locks for many small objects.
//
// A lock in each record would cost more than what it guards, and the standard library's atomic
// shared pointer keeps its lock in the pointer's own bits, with an unlock that the thread sanitizer
// takes for a race. So a few locks are shared by all, each object going by its address to one of
// them. A lock is held to copy or exchange one value, never two at a time, and what is replaced is
// released after the unlock, because its destructor may be a host's.

#pragma once

#include <mutex>

namespace ox {

// The lock that what lies at `address` shares with others. It is there from before the first to
// after the last code of the process.
std::mutex& sharedLock(const void* address) noexcept;

}  // namespace ox
