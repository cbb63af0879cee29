#pragma once

#include <string>
#include <string_view>

namespace oxarchive {

// `bytes` as text for a terminal and for one line: what could steer a terminal or deceive a reader
// (control characters, marks that turn the direction of writing) and bytes that are not UTF-8 are
// written as "\xNN".
//
//   "a b.txt"      => "a b.txt"
//   "a\nb"         => "a\x0ab"
//   "\xff.zip"     => "\xff.zip"      eight characters
std::string printable(std::string_view bytes);

// Whether `bytes` are UTF-8 from their first to their last.
bool isUtf8(std::string_view bytes);

// The number of characters in `text`, which is UTF-8.
std::size_t characterCount(std::string_view text);

// The first `count` characters of `text`, at least one, with "…" in place of what is cut off.
std::string firstCharacters(std::string_view text, std::size_t count);

// The last `count` characters of `text`, at least one, with "…" in place of what is cut off.
std::string lastCharacters(std::string_view text, std::size_t count);

}  // namespace oxarchive
