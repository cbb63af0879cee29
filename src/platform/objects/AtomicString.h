// Strings in atomic references: kept as objects that never change, given out as copies.

#pragma once

#include <memory>
#include <string>

#include "OrvexKit/platform/OXString.h"
#include "platform/objects/Atomic.h"

namespace ox {

inline OXString copiedString(const AtomicReference<const std::string>& reference) {
  // Copied outside the lock, which is not held while memory is asked for.
  const std::shared_ptr<const std::string> text = reference.get();
  return text ? OXString(*text) : std::nullopt;
}

inline std::shared_ptr<const std::string> sharedString(OXStringView text) {
  return text ? std::make_shared<const std::string>(*text) : nullptr;
}

}  // namespace ox
