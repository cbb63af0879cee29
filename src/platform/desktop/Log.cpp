// SPDX-License-Identifier: MIT

#include "platform/desktop/Desktop.h"

#include <glib.h>

#include <array>

namespace ox {

void logLine(std::string_view text) noexcept {
  const std::array<GLogField, 3> fields{
      {{.key = "PRIORITY", .value = "5", .length = -1},
       {.key = "GLIB_DOMAIN", .value = "OrvexKit", .length = -1},
       {.key = "MESSAGE", .value = text.data(), .length = static_cast<gssize>(text.size())}}};
  g_log_structured_array(G_LOG_LEVEL_MESSAGE, fields.data(), fields.size());
}

}  // namespace ox
