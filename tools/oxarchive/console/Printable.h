// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace oxarchive {

// `bytes` as one line of text for a terminal. Written as "\xNN" are control characters, direction
// marks, invisible characters, bytes that are not UTF-8, and a backslash that would look like such
// an escape.
//
//   "a b.txt"      => "a b.txt"
//   "a\nb"         => "a\x0ab"
//   "\xff.zip"     => "\xff.zip"      eight characters
std::string printable(std::string_view bytes);

// The number of terminal cells that the printable `text` takes.
std::size_t cellCount(std::string_view text);

// The start of `text` that fits into `count` cells, at least one, with "…" for what is cut off.
std::string firstCells(const std::string& text, std::size_t count);

// The end of `text`, in the same way.
std::string lastCells(const std::string& text, std::size_t count);

std::string sizeText(std::uint64_t bytes);

// "3 entries, 1.5 KB"
std::string entriesText(std::uint64_t entries, std::uint64_t bytes);

}  // namespace oxarchive
