// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFileUtil.h"

#include <string>
#include <string_view>

#include "platform/desktop/Desktop.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"
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

bool OXReferenceFromPath(OXFileReference& refOut, OXStringView path) {
  if (!path) {
    return false;
  }
  // With a trailing slash, the system would follow a symbolic link.
  const std::string_view item = ox::path::withoutTrailingSlashes(*path);
  const auto status = ox::files::statusOfLink(ox::PathBuffer(item));
  if (!status) {
    return false;
  }
  refOut = {.device = status->st_dev, .inode = status->st_ino, .path = std::string(item)};
  return true;
}
