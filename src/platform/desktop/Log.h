// The platform log: GLib's structured log, domain "OrvexKit", level "message".

#pragma once

#include <string_view>

namespace ox {

// Writes one line, exactly `text`, bytes that are not UTF-8 included. Any thread.
void logLine(std::string_view text) noexcept;

}  // namespace ox
