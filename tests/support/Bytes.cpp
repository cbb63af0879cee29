// SPDX-License-Identifier: MIT

#include "support/Bytes.h"

#include <charconv>
#include <stdexcept>

namespace ox::test {

Bytes fromHex(std::string_view hex) {
  std::string digits;
  for (const char digit : hex) {
    if (digit != ' ') {
      digits += digit;
    }
  }
  Bytes bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const std::string pair = digits.substr(i, 2);
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
    if (error != std::errc() || end != pair.data() + 2) {
      throw std::invalid_argument(std::string(hex));
    }
    bytes.push_back(std::byte{byte});
  }
  return bytes;
}

std::string toHex(std::span<const std::byte> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string hex;
  for (const std::byte byte : bytes) {
    hex += digits[std::to_integer<std::size_t>(byte >> 4)];
    hex += digits[std::to_integer<std::size_t>(byte & std::byte{0x0F})];
  }
  return hex;
}

Bytes joined(Bytes bytes, std::span<const std::byte> more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
  return bytes;
}

}  // namespace ox::test
