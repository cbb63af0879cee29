// SPDX-License-Identifier: MIT

// Captures GLib's structured log before it is written.

#pragma once

#include <string>
#include <vector>

namespace ox::test {

struct LogLine {
  std::string domain;
  int level;  // GLib's flag, such as G_LOG_LEVEL_MESSAGE
  std::string text;
  std::string priority = "5";  // the level in syslog's numbers

  friend bool operator==(const LogLine&, const LogLine&) = default;
};

// One line as the library writes it.
LogLine libraryLine(std::string text);

// Returns the process's lines since the last call. The first call starts the capture and returns
// none; from then on nothing is logged to the standard streams.
std::vector<LogLine> takeLogLines();

}  // namespace ox::test
