#include "naming/ArchiveExtension.h"

#include <algorithm>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
ArchiveExtension archiveExtension(std::string_view path) noexcept {
  const auto [rest, extension] = path::splitExtension(path);
  // Whether the extension of `rest` is "tar": one look at its end in place of a second search.
  constexpr std::size_t length = std::string_view("x.tar").size();
  const std::string_view end = rest.substr(std::max(rest.size(), length) - length);
  const bool isTar =
      end.size() == length && end.front() != '/' && path::equalIgnoringCase(end.substr(1), ".tar");
  return {isTar && !extension.empty() ? "tar." : "", extension};
}

std::string_view deletingArchiveExtension(std::string_view path) noexcept {
  // The cut goes by length, never by matching text: slashes at the end of the path are counted in.
  // Strictly longer, so that something is left.
  const std::size_t cut = archiveExtension(path).length();
  const bool leavesSomething = cut != 0 && path.size() - 1 > cut;
  return leavesSomething ? path.substr(0, path.size() - 1 - cut) : path;
}

}  // namespace ox

OXString OXFileUtilAdditions::archiveExtension(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  return ox::orBadAlloc([path] {
    const ox::ArchiveExtension extension = ox::archiveExtension(*path);
    std::string text(extension.tar);
    text += extension.last;
    return text;
  });
}

OXString OXFileUtilAdditions::stringByDeletingArchiveExtension(OXStringView path) {
  return OXString(path ? OXStringView(ox::deletingArchiveExtension(*path)) : path);
}
