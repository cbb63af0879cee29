// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>

namespace ox {

/// A number that threads read and write whole, without a lock and without ordering other accesses.
template <typename T>
class AtomicScalar {
  // Asks the compiler: on 32-bit x86, `std::atomic` may answer for unaligned 64-bit numbers too. If
  // only one of host and library took a lock, neither would be protected.
  static_assert(__atomic_always_lock_free(sizeof(T), nullptr));
  static_assert(alignof(std::atomic<T>) == sizeof(T));

 public:
  explicit AtomicScalar(T value) noexcept : value_(value) {}
  T get() const noexcept { return value_.load(std::memory_order_relaxed); }
  void set(T value) noexcept { value_.store(value, std::memory_order_relaxed); }

 private:
  std::atomic<T> value_;
};

}  // namespace ox
