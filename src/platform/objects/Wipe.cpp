#include "platform/objects/Wipe.h"

#include <cstring>

#include "platform/objects/BadAlloc.h"

namespace ox {

void wipe(std::string& text) noexcept {
  // The capacity, not the size: an earlier, longer text may have left its end there.
  explicit_bzero(text.data(), text.capacity());
  text.clear();
}

std::shared_ptr<const std::string> makeWipedString(std::string_view text) {
  auto wipeAndDelete = [](std::string* secret) noexcept {
    wipe(*secret);
    delete secret;
  };
  auto* const copy = orBadAlloc([text] { return new std::string(text); });
  return std::shared_ptr<std::string>(copy, wipeAndDelete);
}

}  // namespace ox
