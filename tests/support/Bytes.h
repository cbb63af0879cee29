// SPDX-License-Identifier: MIT

// Converts bytes to and from hexadecimal. Spaces in the text are ignored.

#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ox::test {

using Bytes = std::vector<std::byte>;

// "a1 61 6b" => the three bytes
Bytes fromHex(std::string_view hex);

// the three bytes => "a1616b"
std::string toHex(std::span<const std::byte> bytes);

Bytes joined(Bytes bytes, std::span<const std::byte> more);

}  // namespace ox::test
