// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXString.h"

#include "platform/objects/BadAlloc.h"

OXStringView::operator OXString() const {
  return ox::orBadAlloc([this] { return *this ? OXString(std::in_place, text_) : std::nullopt; });
}
