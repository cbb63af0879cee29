// How the records' objects are read and written whole.

#pragma once

#include <memory>
#include <mutex>

#include "OrvexKit/platform/OXAtomic.h"
#include "platform/objects/SharedLock.h"

namespace ox {

template <typename T>
std::shared_ptr<T> AtomicReference<T>::get() const noexcept {
  const std::lock_guard lock(sharedLock(this));
  return object_;
}

template <typename T>
void AtomicReference<T>::set(std::shared_ptr<T> object) noexcept {
  const std::lock_guard lock(sharedLock(this));
  object_.swap(object);
}

}  // namespace ox
