// How a record keeps what any number of threads may get and set. A host sees these classes only
// because the records have members of them.

#pragma once

#include <atomic>
#include <memory>

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

// A reference to a shared object, or null. Getting and setting are whole: a getter gets the object
// before or the object after a setting, and what it got stays alive for as long as it is held. Both
// are the library's own, defined inside it.
template <typename T>
class AtomicReference {
 public:
  std::shared_ptr<T> get() const noexcept;
  void set(std::shared_ptr<T> object) noexcept;

 private:
  std::shared_ptr<T> object_;
};

}  // namespace ox
