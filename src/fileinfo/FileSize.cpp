#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/desktop/Log.h"
#include "platform/files/Files.h"
#include "platform/objects/BadAlloc.h"

std::int64_t OXGetFileSize(OXStringView path) {
  if (path) {
    if (const auto status = ox::files::statusOfLink(ox::PathBuffer(*path))) {
      return status->st_size;
    }
  }
  ox::orBadAlloc([&] {
    ox::logLine("Failed to get size for file at path: " + std::string(path.value_or("(null)")));
  });
  return 0;
}
