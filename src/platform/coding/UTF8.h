// SPDX-License-Identifier: MIT

// Text in UTF-8.

#pragma once

#include <cstddef>
#include <string_view>

namespace ox::utf8 {

// Copies `bytes`, and returns whether they are well-formed UTF-8 as RFC 3629 has it: shortest forms
// only, no surrogates, nothing beyond U+10FFFF. NUL is a character like any other.
bool copy(char* to, std::string_view bytes) noexcept;

// The start of `text`, of `length` bytes at the most, that does not end within a character; bytes
// that are no text are cut anywhere.
//
//   ("photos", 9)    => "photos"
//   ("photos", 2)    => "ph"
//   ("a\xc3\xa4", 2) => "a"
std::string_view cut(std::string_view text, std::size_t length) noexcept;

}  // namespace ox::utf8
