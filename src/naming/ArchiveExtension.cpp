// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFileUtil.h"

#include <algorithm>
#include <string>

#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// The two parts of an archive extension, in order.
struct ArchiveExtension {
  std::string_view tar;  // "tar." or empty; lower case, whatever the name's case
  std::string_view last;
};

ArchiveExtension archiveExtension(std::string_view path) noexcept {
  const auto [rest, extension] = path::splitExtension(path);
  // Whether the extension of `rest` is "tar": at least one character of the name, then ".tar". This
  // is faster than a second search.
  constexpr std::size_t length = std::string_view("x.tar").size();
  const std::string_view end = rest.substr(std::max(rest.size(), length) - length);
  const bool isTar =
      end.size() == length && end.front() != '/' && path::equalIgnoringCase(end.substr(1), ".tar");
  return {isTar && !extension.empty() ? "tar." : "", extension};
}

}  // namespace
}  // namespace ox

OXString OXFileUtilAdditions::archiveExtension(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  return ox::orBadAlloc([path] {
    const auto [tar, last] = ox::archiveExtension(*path);
    std::string text(tar);
    text += last;
    return text;
  });
}

OXString OXFileUtilAdditions::stringByDeletingArchiveExtension(OXStringView path) {
  // Removes as many bytes from the end as the extension and its "." have, whatever they are:
  // trailing slashes count. Returns the path unchanged if nothing would be left.
  const auto [tar, last] = ox::archiveExtension(*path);
  const std::size_t cut = tar.size() + last.size();
  const bool leavesSomething = cut != 0 && path->size() - 1 > cut;
  return OXString(leavesSomething ? OXStringView(path->substr(0, path->size() - 1 - cut)) : path);
}
