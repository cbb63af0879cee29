// The scratch folder that other rules of this room work in.

#pragma once

#include <optional>

#include "platform/files/PathBuffer.h"

namespace ox {

// What `OXCreateTemporaryDirectory` makes, its log line included, without a string on the heap. No
// value when it cannot be made.
std::optional<PathBuffer> createScratchFolder() noexcept;

}  // namespace ox
