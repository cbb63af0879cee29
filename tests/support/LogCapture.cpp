// SPDX-License-Identifier: MIT

#include "support/LogCapture.h"

#include <glib.h>

#include <mutex>
#include <string_view>
#include <utility>

namespace {

std::mutex linesMutex;
std::vector<ox::test::LogLine> lines;

std::string valueOf(const GLogField& field) {
  const char* const value = static_cast<const char*>(field.value);
  return field.length < 0 ? std::string(value)
                          : std::string(value, static_cast<std::size_t>(field.length));
}

GLogWriterOutput keepLine(GLogLevelFlags level, const GLogField* fields, gsize count,
                          gpointer /*data*/) {
  ox::test::LogLine line{.domain = "", .level = level, .text = "", .priority = ""};
  for (gsize i = 0; i < count; ++i) {
    const std::string_view key = fields[i].key;
    if (key == "GLIB_DOMAIN") {
      line.domain = valueOf(fields[i]);
    } else if (key == "MESSAGE") {
      line.text = valueOf(fields[i]);
    } else if (key == "PRIORITY") {
      line.priority = valueOf(fields[i]);
    }
  }
  const std::lock_guard lock(linesMutex);
  lines.push_back(std::move(line));
  return G_LOG_WRITER_HANDLED;
}

}  // namespace

namespace ox::test {

LogLine libraryLine(std::string text) {
  return {.domain = "OrvexKit", .level = G_LOG_LEVEL_MESSAGE, .text = std::move(text)};
}

std::vector<LogLine> takeLogLines() {
  static const bool installed = [] {
    g_log_set_writer_func(keepLine, nullptr, nullptr);
    return true;
  }();
  static_cast<void>(installed);
  const std::lock_guard lock(linesMutex);
  return std::exchange(lines, {});
}

}  // namespace ox::test
