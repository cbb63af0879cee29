#include "naming/ArchiveExtension.h"

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/Path.h"

namespace ox {

ArchiveExtension archiveExtension(std::string_view path) noexcept {
  const auto [rest, extension] = path::splitExtension(path);
  const bool followsTar =
      !extension.empty() && path::equalIgnoringCase(path::extension(rest), "tar");
  return {extension, followsTar};
}

std::string_view deletingArchiveExtension(std::string_view path) noexcept {
  // The cut goes by length, never by matching text: the "tar" that is reported may be written
  // otherwise in the path. Strictly longer, so that something is left.
  const std::size_t cut = archiveExtension(path).length();
  const bool leavesSomething = cut != 0 && path.size() - 1 > cut;
  return leavesSomething ? path.substr(0, path.size() - 1 - cut) : path;
}

}  // namespace ox

OXString OXFileUtilAdditions::archiveExtension(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  const ox::ArchiveExtension found = ox::archiveExtension(*path);
  std::string text;
  text.reserve(found.length());
  found.appendTo(text);
  return text;
}

OXString OXFileUtilAdditions::stringByDeletingArchiveExtension(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  return std::string(ox::deletingArchiveExtension(*path));
}
