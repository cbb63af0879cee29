// SPDX-License-Identifier: MIT

// The digest of an open file.

#pragma once

#include <cstdint>
#include <optional>

#include "platform/desktop/Md5.h"

namespace ox {

// The number of values of a 32-bit byte count.
constexpr std::uint64_t digestCountLimit = std::uint64_t{1} << 32;

// The MD5 of a regular file whose descriptor is at its start. Of a file of `countLimit` bytes or
// more, digests only the first (size modulo `countLimit`) bytes. No value if it cannot be read.
std::optional<Md5> digestOfFile(int fd, std::uint64_t countLimit = digestCountLimit);

}  // namespace ox
