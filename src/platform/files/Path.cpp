// SPDX-License-Identifier: MIT

#include "platform/files/Path.h"

#include <algorithm>

#include "platform/objects/BadAlloc.h"

namespace ox::path {

std::string_view withoutTrailingSlashes(std::string_view path) noexcept {
  while (path.size() > 1 && path.ends_with('/')) {
    path.remove_suffix(1);
  }
  return path;
}

std::string_view withoutLeadingSlashes(std::string_view component) noexcept {
  return component.substr(std::min(component.find_first_not_of('/'), component.size()));
}

std::string_view lastComponent(std::string_view path) noexcept {
  const std::string_view trimmed = withoutTrailingSlashes(path);
  return trimmed.substr(trimmed.rfind('/') + 1);  // everything if there is no slash: npos + 1 is 0
}

ExtensionSplit splitExtension(std::string_view path) noexcept {
  const std::size_t end = withoutTrailingSlashes(path).size();
  // Extensions are short, so a simple loop from the end is faster than a search.
  for (std::size_t i = end; i > 0 && path[i - 1] != '/'; --i) {
    if (path[i - 1] == '.') {
      const bool startsComponent = i == 1 || path[i - 2] == '/';
      const bool endsComponent = i == end;
      if (startsComponent || endsComponent) {
        break;
      }
      return {path.substr(0, i - 1), path.substr(i, end - i)};
    }
  }
  return {path, {}};
}

std::string_view deletingLastComponent(std::string_view path) noexcept {
  const std::size_t slash = withoutTrailingSlashes(path).rfind('/');
  // A root is its own parent. The parent of a single relative component is the empty path.
  return withoutTrailingSlashes(path.substr(0, slash + 1));
}

void endWithSeparator(std::string& path) {
  path.resize(withoutTrailingSlashes(path).size());
  if (!path.empty() && path.back() != '/') {  // a root ends in one
    path += '/';
  }
}

void appendComponent(std::string& path, std::string_view component) {
  const std::string_view tail = path.empty() ? component : withoutLeadingSlashes(component);
  if (!tail.empty()) {
    endWithSeparator(path);
    path += tail;
  }
}

std::string appendingComponent(std::string_view path, std::string_view component) {
  return orBadAlloc([&] {
    std::string joined;
    joined.reserve(path.size() + 1 + component.size());
    joined = path;
    appendComponent(joined, component);
    return joined;
  });
}

bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept {
  return std::ranges::equal(a, b, {}, lowercase, lowercase);
}

}  // namespace ox::path
