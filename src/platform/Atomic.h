// How the records' objects are read and written whole.
//
// A lock in each record would cost more than what it guards, and the standard library's atomic
// shared pointer keeps its lock in the pointer's own bits, with an unlock that the thread sanitizer
// takes for a race. So a few locks are shared by all, each object going by its address to one of
// them. A lock is held to copy or exchange one value, never two at a time, and what is replaced is
// released after the unlock, because its destructor may be a host's.

#pragma once

#include <memory>
#include <mutex>

#include "OrvexKit/platform/OXAtomic.h"

namespace ox {

// The lock that what lies at `address` shares with others. It is there from before the first to
// after the last code of the process.
std::mutex& sharedLock(const void* address) noexcept;

template <typename T>
std::shared_ptr<T> AtomicReference<T>::get() const noexcept {
  const std::lock_guard lock(sharedLock(this));
  return object_;
}

template <typename T>
void AtomicReference<T>::set(std::shared_ptr<T> object) noexcept {
  const std::lock_guard lock(sharedLock(this));
  object_.swap(object);
}

}  // namespace ox
