// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXObject.h"

#include <array>
#include <cstdio>

OXObject::~OXObject() = default;

OXString OXObject::description() const {
  std::array<char, 48> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "<OXObject: %p>", static_cast<const void*>(this));
  return std::string(text.data(), static_cast<std::size_t>(length));
}

bool OXObject::isEqual(const OXObject* other) const {
  return other == this;
}

OXUnsignedWord OXObject::hash() const {
  return reinterpret_cast<OXUnsignedWord>(this);
}
