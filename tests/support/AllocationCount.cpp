// SPDX-License-Identifier: MIT

#include "support/AllocationCount.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {

thread_local std::size_t allocations = 0;
thread_local std::size_t untilRefusal = std::numeric_limits<std::size_t>::max();
thread_local std::size_t refusals = 0;

void* allocate(std::size_t size) {
  if (untilRefusal > 0) {
    --untilRefusal;
  } else if (refusals > 0) {
    --refusals;
    throw std::bad_alloc();
  }
  ++allocations;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

std::string_view watched;
std::atomic<std::size_t> finds = 0;

void release(void* memory) noexcept {
  if (memory != nullptr && !watched.empty() &&
      memmem(memory, malloc_usable_size(memory), watched.data(), watched.size()) != nullptr) {
    ++finds;
  }
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}

void* operator new[](std::size_t size) {
  return allocate(size);
}

void operator delete(void* memory) noexcept {
  release(memory);
}

void operator delete[](void* memory) noexcept {
  release(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  release(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  release(memory);
}

namespace ox::test {

AllocationCount::AllocationCount() : before_(allocations) {}

std::size_t AllocationCount::count() const {
  return allocations - before_;
}

AllocationFailure::AllocationFailure(std::size_t first, std::size_t count) {
  untilRefusal = first;
  refusals = count;
}

AllocationFailure::~AllocationFailure() {
  refusals = 0;
}

FreedMemoryWatch::FreedMemoryWatch(std::string_view bytes) {
  finds = 0;
  watched = bytes;
}

FreedMemoryWatch::~FreedMemoryWatch() {
  watched = {};
}

std::size_t FreedMemoryWatch::found() const {
  return finds;
}

}  // namespace ox::test
