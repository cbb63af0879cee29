// What goes to GLib's structured log, caught before it is written.

#pragma once

#include <string>
#include <vector>

namespace ox::test {

struct LogLine {
  std::string domain;
  int level;  // GLib's flag, G_LOG_LEVEL_MESSAGE for example
  std::string text;
  std::string priority = "5";  // syslog's number for it

  friend bool operator==(const LogLine&, const LogLine&) = default;
};

// One line as the library writes it.
LogLine libraryLine(std::string text);

// The lines of the whole process since the last call. From the first call on nothing is written to
// the standard streams; that call gives no lines.
std::vector<LogLine> takeLogLines();

}  // namespace ox::test
