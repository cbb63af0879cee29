// SPDX-License-Identifier: MIT

// Arbitrary bytes as little-endian 64-bit sizes; the last one may be truncated.

#include <OrvexKit/OXFileUtil.h>

#include <cstdint>

#include "Require.h"
#include "support/PlainSize.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  for (std::size_t start = 0; start < size; start += sizeof(std::int64_t)) {
    std::uint64_t bits = 0;
    for (std::size_t i = start; i < size && i < start + sizeof bits; ++i) {
      bits |= std::uint64_t{data[i]} << 8 * (i - start);
    }
    const auto bytes = static_cast<std::int64_t>(bits);
    ox::fuzz::require(OXHumanReadableFileSize(bytes) == ox::test::plain::humanReadableSize(bytes),
                      "the text of a size");
  }
  return 0;
}
