#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"

bool OXReferenceFromPath(OXFileReference& refOut, OXStringView path) {
  if (!path) {
    return false;
  }
  // A slash at the end would make the system follow a link.
  const std::string_view item = ox::path::withoutTrailingSlashes(*path);
  const auto status = ox::files::statusOfLink(ox::PathBuffer(item));
  if (!status) {
    return false;
  }
  refOut = {.device = status->st_dev, .inode = status->st_ino, .path = std::string(item)};
  return true;
}
