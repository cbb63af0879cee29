#include "naming/ArchiveExtension.h"

#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// Whether the extension of `path`, which does not end in a slash, is "tar" in any case: one look at
// its end in place of a second search.
bool hasTarExtension(std::string_view path) noexcept {
  constexpr std::string_view ending = ".tar";
  return path.size() > ending.size() &&
         path::equalIgnoringCase(path.substr(path.size() - ending.size()), ending) &&
         path[path.size() - ending.size() - 1] != '/';
}

}  // namespace

ArchiveExtension archiveExtension(std::string_view path) noexcept {
  const auto [rest, extension] = path::splitExtension(path);
  const bool isDouble = !extension.empty() && hasTarExtension(rest);
  return {isDouble ? "tar." : "", extension};
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
