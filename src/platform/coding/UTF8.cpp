#include "platform/coding/UTF8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ox::utf8 {

namespace {

template <typename Word>
Word wordAt(const char* bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

constexpr std::uint64_t highBits = 0x8080808080808080;

// Most names are short and plain: two words, which may overlap, cover them.
bool isShortAscii(std::string_view bytes) noexcept {
  const char* const start = bytes.data();
  const char* const end = start + bytes.size();
  if (bytes.size() >= sizeof(std::uint64_t)) {
    return bytes.size() <= 2 * sizeof(std::uint64_t) &&
           ((wordAt<std::uint64_t>(start) | wordAt<std::uint64_t>(end - 8)) & highBits) == 0;
  }
  return bytes.size() >= sizeof(std::uint32_t) &&
         ((wordAt<std::uint32_t>(start) | wordAt<std::uint32_t>(end - 4)) & highBits) == 0;
}

std::size_t asciiPrefix(std::string_view bytes) noexcept {
  std::size_t length = 0;
  // Four words at a time, as paths are long.
  constexpr std::size_t stride = 4 * sizeof(std::uint64_t);
  while (bytes.size() - length >= stride) {
    const char* const next = bytes.data() + length;
    const std::uint64_t all = wordAt<std::uint64_t>(next) | wordAt<std::uint64_t>(next + 8) |
                              wordAt<std::uint64_t>(next + 16) | wordAt<std::uint64_t>(next + 24);
    if ((all & highBits) != 0) {
      break;
    }
    length += stride;
  }
  while (bytes.size() - length >= sizeof(std::uint64_t) &&
         (wordAt<std::uint64_t>(bytes.data() + length) & highBits) == 0) {
    length += sizeof(std::uint64_t);
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80) {
    ++length;
  }
  return length;
}

bool isContinuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// What a sequence's first byte demands; the second byte's range is what shuts out the longer forms,
// the surrogates and what lies beyond the last character.
struct Sequence {
  std::size_t length;  // 0: no sequence starts so
  unsigned char secondFrom;
  unsigned char secondTo;
};

Sequence sequenceOf(unsigned char first) noexcept {
  if (first < 0xC2 || first > 0xF4) {
    return {.length = 0, .secondFrom = 0, .secondTo = 0};
  }
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  const unsigned char from = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned char to = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  return {.length = length, .secondFrom = from, .secondTo = to};
}

// The length of the sequence of two bytes or more at the start of `bytes`, or 0.
std::size_t sequencePrefix(std::string_view bytes) noexcept {
  const Sequence sequence = sequenceOf(static_cast<unsigned char>(bytes[0]));
  if (sequence.length == 0 || sequence.length > bytes.size()) {
    return 0;
  }
  const auto second = static_cast<unsigned char>(bytes[1]);
  if (second < sequence.secondFrom || second > sequence.secondTo) {
    return 0;
  }
  for (std::size_t i = 2; i < sequence.length; ++i) {
    if (!isContinuation(bytes[i])) {
      return 0;
    }
  }
  return sequence.length;
}

}  // namespace

bool isValid(std::string_view bytes) noexcept {
  if (isShortAscii(bytes)) {
    return true;
  }
  bytes.remove_prefix(asciiPrefix(bytes));
  while (!bytes.empty()) {
    const std::size_t length = sequencePrefix(bytes);
    if (length == 0) {
      return false;
    }
    bytes.remove_prefix(length);
    bytes.remove_prefix(asciiPrefix(bytes));
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
