// The platform log: GLib's structured log, domain "OrvexKit", level "message".

#pragma once

#include <string>

namespace ox {

// Writes one line, exactly `text`, bytes that are not UTF-8 included. Any thread.
void logLine(const char* text) noexcept;
void logLine(const std::string& text) noexcept;

}  // namespace ox
