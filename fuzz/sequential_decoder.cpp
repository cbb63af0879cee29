// SPDX-License-Identifier: MIT

// Arbitrary bytes as a sequential record, with or without an array around it.

#include <cstdint>

#include "RoundTrip.h"

namespace {

using ox::fuzz::require;

bool isMisfit(const std::optional<OXValue>& object) {
  return object && std::holds_alternative<OXMisfit>(*object);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = ox::fuzz::asBytes(data, size);
  OXCBORDecoder decoder(bytes, OXCBORMode::sequential);
  std::size_t count = 0;
  while (!decoder.isAtEnd()) {
    require(decoder.decodeObject().has_value(), "an object before the end");
    ++count;
  }
  require(count <= size, "an object takes a byte at least");
  require(isMisfit(decoder.decodeObject()) && decoder.hasFailed(), "a failure after the end");
  require(!decoder.decodeObjectForKey("path"), "nothing with a key");
  ox::fuzz::roundTrip(bytes, OXCBORMode::sequential);
  return 0;
}
