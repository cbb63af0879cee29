#include "console/Printable.h"

#include <algorithm>
#include <array>

namespace oxarchive {
namespace {

struct Character {
  std::size_t size;  // in bytes; 0 when they are not UTF-8
  char32_t codePoint;
};

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

Character firstCharacter(std::string_view bytes) {
  const auto lead = static_cast<unsigned char>(bytes.front());
  if (lead < 0x80) {
    return {1, lead};
  }
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || bytes.size() < size ||
      !std::ranges::all_of(bytes.substr(1, size - 1), isContinuation)) {
    return {0, 0};
  }
  char32_t codePoint = lead & (0xFFU >> (size + 1));
  for (const char byte : bytes.substr(1, size - 1)) {
    codePoint = codePoint << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
  }
  constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (codePoint < smallest.at(size) || codePoint > 0x10FFFF || isSurrogate) {
    return {0, 0};
  }
  return {size, codePoint};
}

bool isHarmless(char32_t c) {
  const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
  const bool turnsDirection = c == 0x061C || c == 0x200E || c == 0x200F ||
                              (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
  return !isControl && !turnsDirection;
}

void appendEscaped(std::string& text, std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += "\\x";
    text += digits[value >> 4U];
    text += digits[value & 0xFU];
  }
}

}  // namespace

std::string printable(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const Character first = firstCharacter(bytes);
    const std::size_t size = std::max<std::size_t>(first.size, 1);
    if (first.size != 0 && isHarmless(first.codePoint)) {
      text += bytes.substr(0, size);
    } else {
      appendEscaped(text, bytes.substr(0, size));
    }
    bytes.remove_prefix(size);
  }
  return text;
}

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t size = firstCharacter(bytes).size;
    if (size == 0) {
      return false;
    }
    bytes.remove_prefix(size);
  }
  return true;
}

std::size_t characterCount(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::ranges::count_if(text, isContinuation));
}

std::string firstCharacters(std::string_view text, std::size_t count) {
  if (characterCount(text) <= count) {
    return std::string(text);
  }
  std::size_t size = 0;
  for (std::size_t taken = 0; size < text.size(); ++size) {
    if (!isContinuation(text[size]) && taken++ == count - 1) {
      break;
    }
  }
  return std::string(text.substr(0, size)) + "…";
}

std::string lastCharacters(std::string_view text, std::size_t count) {
  std::size_t surplus = characterCount(text);
  if (surplus <= count) {
    return std::string(text);
  }
  surplus -= count - 1;
  while (!text.empty() && (surplus > 0 || isContinuation(text.front()))) {
    if (!isContinuation(text.front())) {
      --surplus;
    }
    text.remove_prefix(1);
  }
  return "…" + std::string(text);
}

}  // namespace oxarchive
