// SPDX-License-Identifier: MIT

// MD5 (RFC 1321), by libcrypto.

#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace ox {

struct Md5 {
  std::array<unsigned char, 16> digest;
  std::uint64_t byteCount;
};

// Digests `limit` bytes from the descriptor's current position, or fewer if the file ends before.
// No value if reading fails or there is no libcrypto. Works even if the system's policy forbids
// MD5, since the digest does not serve security here.
std::optional<Md5> md5Of(int fd, std::uint64_t limit);

}  // namespace ox
