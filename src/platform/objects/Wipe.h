// Secrets do not stay behind in memory that was given back.

#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace ox {

// Overwrites all that the string's memory holds, and leaves it empty.
void wipe(std::string& text) noexcept;

// A copy of `text` whose memory is overwritten before it is given back.
std::shared_ptr<const std::string> makeWipedString(std::string_view text);

}  // namespace ox
