// SPDX-License-Identifier: MIT

// Counts the calling thread's allocations by `operator new`, can make them fail, and inspects freed
// memory. AllocationCount.cpp replaces `operator new` and `operator delete` in the test program
// that links it.

#pragma once

#include <cstddef>
#include <limits>
#include <string_view>

namespace ox::test {

// Counts the allocations of this thread since the object was created.
class AllocationCount {
 public:
  AllocationCount();
  std::size_t count() const;

 private:
  std::size_t before_;
};

// During its lifetime, `operator new` throws `std::bad_alloc` on this thread for `count`
// allocations, starting with number `first` (counted from 0).
class AllocationFailure {
 public:
  explicit AllocationFailure(std::size_t first = 0,
                             std::size_t count = std::numeric_limits<std::size_t>::max());
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;
};

// During its lifetime, searches every block freed by `operator delete` for `bytes`, which the
// caller keeps alive. Only one at a time; no other thread may run while it is created or destroyed.
class FreedMemoryWatch {
 public:
  explicit FreedMemoryWatch(std::string_view bytes);
  ~FreedMemoryWatch();
  FreedMemoryWatch(const FreedMemoryWatch&) = delete;
  FreedMemoryWatch& operator=(const FreedMemoryWatch&) = delete;

  // The number of freed blocks that contained the bytes.
  std::size_t found() const;
};

}  // namespace ox::test
