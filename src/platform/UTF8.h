// Whether bytes are UTF-8 text.

#pragma once

#include <string_view>

namespace ox::utf8 {

// Well-formed UTF-8 as RFC 3629 has it: shortest forms only, no surrogates, nothing beyond
// U+10FFFF. NUL is a character like any other.
bool isValid(std::string_view bytes) noexcept;

}  // namespace ox::utf8
