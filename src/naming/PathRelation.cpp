// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFileUtil.h"

#include <string_view>
#include <utility>

#include "platform/files/Files.h"

namespace ox {
namespace {

// With the terminating NUL. A host may keep a canonical path in a buffer of this size.
constexpr std::size_t canonicalPathBufferSize = 1024;

// The part of `path` below `ancestor`, or `path` itself if `ancestor` is not an ancestor.
std::string_view pathBelow(std::string_view path, std::string_view ancestor) noexcept {
  if (ancestor.empty() || !path.starts_with(ancestor)) {
    return path;
  }
  const std::string_view rest = path.substr(ancestor.size());
  if (rest.starts_with('/')) {
    return rest.substr(1);
  }
  return rest.empty() || ancestor.ends_with('/') ? rest : path;
}

}  // namespace
}  // namespace ox

OXString OXPathByRemovingAncestorPath(OXStringView path, OXStringView ancestor) {
  return OXString(path ? OXStringView(ox::pathBelow(*path, *ancestor)) : path);
}

OXString OXFileUtilAdditions::canonicalPath(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  OXString canonical = ox::files::resolvePath(ox::PathBuffer(*path));
  const bool fits = canonical && canonical->size() < ox::canonicalPathBufferSize;
  return fits ? std::move(canonical) : OXString(path);
}
