// How a record keeps a number that any number of threads may get and set.

#pragma once

#include <atomic>

namespace ox {

// A number, read and written whole and without a lock. It does not order what is read and written
// around it.
template <typename T>
class AtomicScalar {
  // The compiler is asked and not `std::atomic`: on 32-bit x86 that may answer for any 64-bit
  // number, which can lie across two cache lines, while this one can't. A host that is built for a
  // processor with another answer than the library's would not agree with it on the protection.
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
