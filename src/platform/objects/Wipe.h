// SPDX-License-Identifier: MIT

// Overwrites secrets before their memory is freed.

#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "platform/objects/BadAlloc.h"

namespace ox {

// Overwrites all of the string's memory, and makes the string empty.
inline void wipe(std::string& text) noexcept {
  // The capacity, not the size: the end of an earlier, longer text may still be there.
  explicit_bzero(text.data(), text.capacity());
  text.clear();
}

// A copy of `text` whose memory is overwritten before it is freed.
inline std::shared_ptr<const std::string> makeWipedString(std::string_view text) {
  const auto wipeAndDelete = [](std::string* secret) noexcept {
    wipe(*secret);
    delete secret;
  };
  auto* const copy = orBadAlloc([text] { return new std::string(text); });
  return std::shared_ptr<std::string>(copy, wipeAndDelete);
}

}  // namespace ox
