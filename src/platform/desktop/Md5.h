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

// Digests what `fd` gives from where it stands: `limit` bytes, or fewer if it ends before. No value
// when reading fails, or without libcrypto. The digest does not serve security here, so a system's
// policy against MD5 does not hold for it.
std::optional<Md5> md5Of(int fd, std::uint64_t limit);

}  // namespace ox
