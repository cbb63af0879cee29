#include "platform/coding/UTF8.h"

#include <glib.h>

#include <algorithm>
#include <cstdint>

namespace ox::utf8 {

namespace {

bool isContinuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

using Block [[gnu::vector_size(16)]] = std::uint64_t;

Block blockAt(const char* bytes, std::size_t size) noexcept {
  Block block{};
  std::copy_n(bytes, size, reinterpret_cast<char*>(&block));
  return block;
}

// A block at a time, the last one overlapping the one before: most names are plain, and the call
// for the others takes several times as long as this.
bool isAscii(std::string_view bytes) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  constexpr std::size_t step = sizeof(Block);
  const char* const last = bytes.data() + bytes.size() - std::min(bytes.size(), step);
  Block all = bytes.size() < step ? blockAt(last, bytes.size()) : blockAt(last, step);
  for (const char* next = bytes.data(); next < last; next += step) {
    all |= blockAt(next, step);
  }
  return ((all[0] | all[1]) & highBits) == 0;
}

}  // namespace

bool isValid(std::string_view bytes) noexcept {
  if (isAscii(bytes)) {
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
