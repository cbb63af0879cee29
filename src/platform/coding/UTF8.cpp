// SPDX-License-Identifier: MIT

#include "platform/coding/UTF8.h"

#include <glib.h>

#include <algorithm>
#include <cstdint>

namespace ox::utf8 {
namespace {

bool isContinuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Returns whether the bytes are plain ASCII, as most names are: to validate the others takes
// several times as long as this.
bool copyAscii(char* to, std::string_view bytes) noexcept {
  using Block [[gnu::vector_size(16)]] = std::uint64_t;
  constexpr std::size_t step = sizeof(Block);
  constexpr std::uint64_t highBits = 0x8080808080808080;
  Block all{};
  const auto copyBlock = [&](std::size_t start, std::size_t size) {
    Block block{};
    std::copy_n(bytes.data() + start, size, reinterpret_cast<char*>(&block));
    std::copy_n(reinterpret_cast<const char*>(&block), size, to + start);
    all |= block;
  };
  // The last block overlaps the one before.
  const std::size_t last = bytes.size() - std::min(bytes.size(), step);
  for (std::size_t next = 0; next < last; next += step) {
    copyBlock(next, step);
  }
  bytes.size() < step ? copyBlock(0, bytes.size()) : copyBlock(last, step);
  return ((all[0] | all[1]) & highBits) == 0;
}

}  // namespace

bool copy(char* to, std::string_view bytes) noexcept {
  if (copyAscii(to, bytes)) {
    return true;
  }
  const char* const end = bytes.data() + bytes.size();
  const char* next = bytes.data();
  const char* stop = nullptr;
  // GLib stops at every NUL, which is a character here.
  while (g_utf8_validate_len(next, static_cast<gsize>(end - next), &stop) == FALSE) {
    if (*stop != '\0') {
      return false;
    }
    next = stop + 1;
  }
  return true;
}

std::string_view cut(std::string_view text, std::size_t length) noexcept {
  if (text.size() <= length) {
    return text;
  }
  constexpr std::size_t mostContinuations = 3;
  std::size_t end = length;
  while (end > 0 && length - end < mostContinuations && isContinuation(text[end])) {
    --end;
  }
  return text.substr(0, isContinuation(text[end]) || end == 0 ? length : end);
}

}  // namespace ox::utf8
