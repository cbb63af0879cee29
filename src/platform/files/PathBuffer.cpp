#include "platform/files/PathBuffer.h"

#include <cstring>

#include "platform/files/Path.h"

namespace ox {

void PathBuffer::append(std::string_view text) noexcept {
  const bool fits = text.size() < sizeof bytes_ - length_;
  if (!representable_ || !fits || text.find('\0') != std::string_view::npos) {
    representable_ = false;
    bytes_[length_] = '\0';
    return;
  }
  text.copy(bytes_ + length_, text.size());
  length_ += text.size();
  bytes_[length_] = '\0';
}

void PathBuffer::appendComponent(std::string_view component) noexcept {
  if (length_ == 0) {
    append(component);
    return;
  }
  const std::string_view tail = path::withoutLeadingSlashes(component);
  if (tail.empty()) {
    return;
  }
  while (length_ > 0 && bytes_[length_ - 1] == '/') {
    --length_;
  }
  append("/");
  append(tail);
}

}  // namespace ox
