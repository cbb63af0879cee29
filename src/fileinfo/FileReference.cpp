#include <string>
#include <string_view>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/Files.h"

namespace {

// A slash at the end would make the system follow a link; a path of nothing but slashes keeps one.
std::string_view withoutTrailingSlashes(std::string_view path) noexcept {
  while (path.size() > 1 && path.ends_with('/')) {
    path.remove_suffix(1);
  }
  return path;
}

}  // namespace

bool OXReferenceFromPath(OXFileReference& refOut, OXStringView path) {
  if (!path) {
    return false;
  }
  const std::string_view item = withoutTrailingSlashes(*path);
  const auto status = ox::files::statusOfLink(ox::PathBuffer(item));
  if (!status) {
    return false;
  }
  refOut = {.device = status->st_dev, .inode = status->st_ino, .path = std::string(item)};
  return true;
}
