#include "platform/coding/UTF8.h"

#include <glib.h>

#include <cstdint>
#include <cstring>

namespace ox::utf8 {

namespace {

bool isContinuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// A word at a time: most names are plain, and the call for the others takes several times as long
// as this.
bool isAscii(std::string_view bytes) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  std::uint64_t all = 0;
  for (; bytes.size() >= sizeof all; bytes.remove_prefix(sizeof all)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data(), sizeof word);
    all |= word;
  }
  for (const char byte : bytes) {
    all |= static_cast<unsigned char>(byte);
  }
  return (all & highBits) == 0;
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
