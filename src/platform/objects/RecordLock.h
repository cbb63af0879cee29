// SPDX-License-Identifier: MIT

// A record's own lock, and the references to objects that it guards.
//
// Not `std::atomic<std::shared_ptr>`, whose unlock the thread sanitizer reports as a race. Each
// record has a small lock of its own, so a thread or a forked child that uses one record never
// waits for a thread that uses another.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "OrvexKit/platform/OXString.h"
#include "platform/objects/BadAlloc.h"

namespace ox {

// Holds a lock during its lifetime. Callers only copy and swap references meanwhile. They do not
// allocate, release objects, call back or abort, since a handler of SIGABRT may read the record. A
// waiting thread sleeps, so that one of high priority lets the holder run.
class RecordGuard {
 public:
  explicit RecordGuard(std::atomic<std::uint32_t>& lock) noexcept : lock_(lock) {
    std::uint32_t expected = unlocked;
    if (!lock_.compare_exchange_strong(expected, locked)) {
      while (lock_.exchange(awaited) != unlocked) {
        lock_.wait(awaited);
      }
    }
  }
  RecordGuard(const RecordGuard&) = delete;
  RecordGuard& operator=(const RecordGuard&) = delete;
  ~RecordGuard() {
    if (lock_.exchange(unlocked) == awaited) {
      lock_.notify_one();
    }
  }

 private:
  static constexpr std::uint32_t unlocked = 0;
  static constexpr std::uint32_t locked = 1;
  static constexpr std::uint32_t awaited = 2;  // locked, and threads may sleep

  std::atomic<std::uint32_t>& lock_;
};

template <typename T>
std::shared_ptr<T> getGuarded(std::atomic<std::uint32_t>& lock,
                              const std::shared_ptr<T>& reference) noexcept {
  const RecordGuard guard(lock);
  return reference;
}

// The replaced object is released after the unlock.
template <typename T>
void setGuarded(std::atomic<std::uint32_t>& lock, std::shared_ptr<T>& reference,
                std::shared_ptr<T> object) noexcept {
  const RecordGuard guard(lock);
  reference.swap(object);
}

// A record's strings are shared objects that never change. Getters return copies.
using SharedString = std::shared_ptr<const std::string>;

inline SharedString sharedString(OXStringView text) {
  return orBadAlloc([&] { return text ? std::make_shared<const std::string>(*text) : nullptr; });
}

inline OXString copyOf(const SharedString& text) {
  return text ? OXString(*text) : std::nullopt;
}

}  // namespace ox
