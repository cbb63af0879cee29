#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/Log.h"
#include "platform/PathBuffer.h"
#include "platform/System.h"

std::int64_t OXGetFileSize(OXStringView path) {
  if (path) {
    struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
    const ox::PathBuffer bytes(*path);
    if (bytes.isRepresentable() && ox::sys::lstat(bytes.c_str(), &status) == 0) {
      return status.st_size;
    }
  }
  std::string line("Failed to get size for file at path: ");
  line += path.value_or("(null)");
  ox::logLine(line);
  return 0;
}
