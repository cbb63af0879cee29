// Counts what the calling thread takes from the heap by `operator new`, can refuse it, and looks at
// what is given back. A test program that is linked with AllocationCount.cpp has its own
// `operator new` and `operator delete`.

#pragma once

#include <cstddef>
#include <limits>
#include <string_view>

namespace ox::test {

// Since this object was made, on this thread.
class AllocationCount {
 public:
  AllocationCount();
  std::size_t count() const;

 private:
  std::size_t before_;
};

// As long as it lives, `operator new` throws `std::bad_alloc` on this thread for `count`
// allocations from the `first` one on (counted from 0).
class AllocationFailure {
 public:
  explicit AllocationFailure(std::size_t first = 0,
                             std::size_t count = std::numeric_limits<std::size_t>::max());
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;
};

// As long as it lives, looks for `bytes` in every block that is given back by `operator delete`.
// One at a time, made and destroyed while no other thread runs; `bytes` stay where they are.
class FreedMemoryWatch {
 public:
  explicit FreedMemoryWatch(std::string_view bytes);
  ~FreedMemoryWatch();
  FreedMemoryWatch(const FreedMemoryWatch&) = delete;
  FreedMemoryWatch& operator=(const FreedMemoryWatch&) = delete;

  // Blocks that held the bytes.
  std::size_t found() const;
};

}  // namespace ox::test
