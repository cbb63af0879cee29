#include "platform/objects/Wipe.h"

#include <cstring>

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
  return std::shared_ptr<std::string>(new std::string(text), wipeAndDelete);
}

}  // namespace ox
