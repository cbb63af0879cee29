#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/desktop/Log.h"
#include "platform/files/Files.h"

std::int64_t OXGetFileSize(OXStringView path) {
  if (path) {
    if (const auto status = ox::files::statusOfLink(ox::PathBuffer(*path))) {
      return status->st_size;
    }
  }
  std::string line("Failed to get size for file at path: ");
  line += path.value_or("(null)");
  ox::logLine(line);
  return 0;
}
