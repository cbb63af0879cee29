#pragma once

#include <string>
#include <string_view>

namespace oxarchive {

// `bytes` as text for a terminal and for one line: what could steer a terminal or deceive a reader
// (control characters, marks that turn the direction of writing, characters that are not seen),
// bytes that are not UTF-8, and a backslash that would look like the start of all that, are written
// as
// "\xNN".
//
//   "a b.txt"      => "a b.txt"
//   "a\nb"         => "a\x0ab"
//   "\xff.zip"     => "\xff.zip"      eight characters
std::string printable(std::string_view bytes);

// Whether `bytes` are UTF-8 from their first to their last.
bool isUtf8(const std::string& bytes);

// How many cells of a terminal `text` takes, which is printable.
std::size_t cellCount(std::string_view text);

// What fits into the first `count` cells of `text`, at least one, with "…" in place of what is cut
// off.
std::string firstCells(const std::string& text, std::size_t count);

// The same of the last cells.
std::string lastCells(const std::string& text, std::size_t count);

}  // namespace oxarchive
