// A record's own lock, and the references to objects that it guards.
//
// The standard library's atomic shared pointer keeps its lock in the pointer's own bits, with an
// unlock that the thread sanitizer takes for a race. So each record has one small lock: a thread
// that uses one record never waits for another one, and neither does a child process that was
// forked meanwhile.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "OrvexKit/platform/OXString.h"
#include "platform/objects/BadAlloc.h"

namespace ox {

// Holds a lock until its end. Only references are copied and swapped meanwhile: nothing is
// allocated, released, called back or aborted, as a handler of the abort may look at the record. A
// thread that has to wait sleeps, so that one of high priority lets the holder go on.
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

// What is replaced is released after the unlock.
template <typename T>
void setGuarded(std::atomic<std::uint32_t>& lock, std::shared_ptr<T>& reference,
                std::shared_ptr<T> object) noexcept {
  const RecordGuard guard(lock);
  reference.swap(object);
}

// A record's texts are objects that never change, and are given out as copies.
using SharedString = std::shared_ptr<const std::string>;

inline SharedString sharedString(OXStringView text) {
  return orBadAlloc([&] { return text ? std::make_shared<const std::string>(*text) : nullptr; });
}

inline OXString copyOf(const SharedString& text) {
  return text ? OXString(*text) : std::nullopt;
}

}  // namespace ox
