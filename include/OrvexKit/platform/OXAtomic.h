// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>

#include <atomic>
#include <bit>
#include <cstdint>
#include <type_traits>

namespace ox {

/// A number that threads read and write whole, without a lock and without ordering other accesses.
template <typename T>
class AtomicScalar {
  // On 32-bit x86, Clang calls libatomic for a double, and the program would have to link it.
  using Bits = std::conditional_t<std::is_same_v<T, double>, std::uint64_t, T>;
  // Asks the compiler: on 32-bit x86, `std::atomic` may answer for unaligned 64-bit numbers too. If
  // only one of host and library took a lock, neither would be protected. On RISC-V, GCC 12 answers
  // for exchanging a byte; it reads and writes one without a lock.
  static_assert(sizeof(Bits) == 1 || __atomic_always_lock_free(sizeof(Bits), nullptr));
  static_assert(alignof(std::atomic<Bits>) == sizeof(T));

 public:
  explicit AtomicScalar(T value) noexcept : value_(std::bit_cast<Bits>(value)) {}
  T get() const noexcept { return std::bit_cast<T>(value_.load(std::memory_order_relaxed)); }
  void set(T value) noexcept {
    value_.store(std::bit_cast<Bits>(value), std::memory_order_relaxed);
  }

 private:
  std::atomic<Bits> value_;
};

}  // namespace ox
