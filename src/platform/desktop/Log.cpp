#include "platform/desktop/Log.h"

#include <glib.h>

#include <array>

namespace ox {
namespace {

// GLib takes a negative length for a text that ends in NUL.
void logMessage(const char* text, gssize length) noexcept {
  const std::array<GLogField, 3> fields{{{.key = "PRIORITY", .value = "5", .length = -1},
                                         {.key = "GLIB_DOMAIN", .value = "OrvexKit", .length = -1},
                                         {.key = "MESSAGE", .value = text, .length = length}}};
  g_log_structured_array(G_LOG_LEVEL_MESSAGE, fields.data(), fields.size());
}

}  // namespace

void logLine(const char* text) noexcept {
  logMessage(text, -1);
}

void logLine(const std::string& text) noexcept {
  logMessage(text.c_str(), static_cast<gssize>(text.size()));
}

}  // namespace ox
