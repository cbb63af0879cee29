// SPDX-License-Identifier: MIT

// Arbitrary bytes as a keyed record.

#include <cstdint>

#include "RoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ox::fuzz;
  const auto bytes = asBytes(data, size);
  OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
  const bool isRecord = !decoder.hasFailed();
  for (const std::string_view key : {"path", "mtime", "actualSize", "k", ""}) {
    const std::optional<OXValue> object = decoder.decodeObjectForKey(key);
    if (!isRecord || decoder.hasFailed()) {
      require(object && std::holds_alternative<OXMisfit>(*object), "a failure gives a misfit");
    }
  }
  require(!decoder.decodeObject(), "nothing without a key");
  roundTrip(bytes, OXCBORMode::keyed);
  return 0;
}
