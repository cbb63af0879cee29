// Bytes as a test writes them and prints them: hexadecimal, with spaces wherever they help.

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
