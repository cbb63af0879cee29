// SPDX-License-Identifier: MIT

#include "console/Printable.h"

#include <OrvexKit/OXFileUtil.h>
#include <glib.h>

#include <algorithm>
#include <array>
#include <limits>

namespace oxarchive {
namespace {

bool isPlain(char c) {
  return c >= ' ' && c <= '~' && c != '\\';
}

// Whether the character is visible and harmless: no control character, no direction mark or other
// invisible character, no blank letter, nothing that selects a variant of another.
bool isHarmless(gunichar c) {
  constexpr std::u32string_view blanks =
      U"\u034F\u115F\u1160\u17B4\u17B5\u180B\u180C\u180D\u180F\u2800\u3164\uFFA0";
  const bool isSelector = (c >= 0xFE00 && c <= 0xFE0F) || (c >= 0xE0100 && c <= 0xE01EF);
  constexpr auto invisible =
      std::to_array({G_UNICODE_CONTROL, G_UNICODE_FORMAT, G_UNICODE_LINE_SEPARATOR,
                     G_UNICODE_PARAGRAPH_SEPARATOR});
  return std::ranges::find(invisible, g_unichar_type(c)) == invisible.end() &&
         blanks.find(c) == std::u32string_view::npos && !isSelector;
}

// The size of the first character.
std::size_t sizeOfFirst(std::string_view text) {
  return static_cast<std::size_t>(g_utf8_next_char(text.data()) - text.data());
}

std::size_t cellsOfFirst(std::string_view text) {
  if (isPlain(text.front())) {
    return 1;
  }
  const gunichar c = g_utf8_get_char(text.data());
  return g_unichar_iszerowidth(c) != 0 ? 0 : g_unichar_iswide(c) != 0 ? 2 : 1;
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
  for (;;) {
    // The fast path: most names are ASCII.
    const auto plain =
        static_cast<std::size_t>(std::ranges::find_if_not(bytes, isPlain) - bytes.begin());
    text += bytes.substr(0, plain);
    bytes.remove_prefix(plain);
    if (bytes.empty()) {
      return text;
    }
    const gunichar c = g_utf8_get_char_validated(bytes.data(), static_cast<gssize>(bytes.size()));
    const bool isCharacter = g_unichar_validate(c) != 0;
    const std::size_t size = isCharacter ? sizeOfFirst(bytes) : 1;
    // A "\x" in the name itself is escaped too.
    if (isCharacter && isHarmless(c) && !bytes.starts_with("\\x")) {
      text += bytes.substr(0, size);
    } else {
      appendEscaped(text, bytes.substr(0, size));
    }
    bytes.remove_prefix(size);
  }
}

std::size_t cellCount(std::string_view text) {
  std::size_t cells = 0;
  for (; !text.empty(); text.remove_prefix(sizeOfFirst(text))) {
    cells += cellsOfFirst(text);
  }
  return cells;
}

std::string firstCells(const std::string& text, std::size_t count) {
  if (cellCount(text) <= count) {
    return text;
  }
  std::string_view rest = text;
  for (std::size_t room = count - 1; cellsOfFirst(rest) <= room;) {
    room -= cellsOfFirst(rest);
    rest.remove_prefix(sizeOfFirst(rest));
  }
  return text.substr(0, text.size() - rest.size()) + "…";
}

std::string lastCells(const std::string& text, std::size_t count) {
  std::size_t cells = cellCount(text);
  if (cells <= count) {
    return text;
  }
  std::string_view rest = text;
  for (; cells > count - 1; rest.remove_prefix(sizeOfFirst(rest))) {
    cells -= cellsOfFirst(rest);
  }
  return "…" + std::string(rest);
}

std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
  return OXHumanReadableFileSize(static_cast<std::int64_t>(std::min(bytes, largest))).value();
}

std::string entriesText(std::uint64_t entries, std::uint64_t bytes) {
  return std::to_string(entries) + (entries == 1 ? " entry, " : " entries, ") + sizeText(bytes);
}

}  // namespace oxarchive
