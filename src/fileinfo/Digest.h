// The digest of an open file.

#pragma once

#include <cstdint>
#include <optional>

#include "platform/desktop/Md5.h"

namespace ox {

// What a byte count of 32 bits can tell apart.
constexpr std::uint64_t digestCountLimit = std::uint64_t{1} << 32;

// The MD5 of a regular file that is open at its start. A file of `countLimit` bytes or more is
// digested over its first (size modulo `countLimit`) bytes alone. No value when it cannot be read.
std::optional<Md5> digestOfFile(int fd, std::uint64_t countLimit = digestCountLimit);

}  // namespace ox
