#pragma once

#include <sys/mman.h>

#include <new>
#include <type_traits>

namespace oxarchive {

// A T that this process and the children that it starts later have in common.
template <typename T>
class SharedMemory {
  static_assert(std::is_trivially_destructible_v<T>);

 public:
  SharedMemory()
      : memory_(
            ::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    if (memory_ == MAP_FAILED) {
      throw std::bad_alloc();
    }
    value_ = new (memory_) T();
  }
  ~SharedMemory() { ::munmap(memory_, sizeof(T)); }
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory(SharedMemory&&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;
  SharedMemory& operator=(SharedMemory&&) = delete;

  T& operator*() const { return *value_; }
  T* operator->() const { return value_; }

 private:
  void* memory_;
  T* value_;
};

}  // namespace oxarchive
