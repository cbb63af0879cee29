#include <array>
#include <climits>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/Files.h"

namespace {

constexpr std::string_view::size_type npos = std::string_view::npos;

// With its terminator. A host may keep a resolved path in a buffer of this size.
constexpr std::size_t longestCanonicalPath = 1024;

// Where the part of `path` below `ancestor` starts, or npos when `ancestor` is no ancestor.
std::size_t startBelow(std::string_view path, std::string_view ancestor) noexcept {
  if (ancestor.empty() || !path.starts_with(ancestor)) {
    return npos;
  }
  if (path.size() == ancestor.size()) {
    return path.size();
  }
  if (path[ancestor.size()] == '/') {
    return ancestor.size() + 1;
  }
  return ancestor.back() == '/' ? ancestor.size() : npos;
}

}  // namespace

OXString OXPathByRemovingAncestorPath(OXStringView path, OXStringView ancestor) {
  const std::size_t start = path && ancestor ? startBelow(*path, *ancestor) : npos;
  return OXString(start == npos ? path : OXStringView(path->substr(start)));
}

OXString OXFileUtilAdditions::canonicalPath(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  std::array<char, PATH_MAX> resolved;
  const OXStringView canonical = ox::files::resolvePath(ox::PathBuffer(*path), resolved);
  const bool fits = canonical && canonical->size() < longestCanonicalPath;
  return OXString(fits ? canonical : path);
}
