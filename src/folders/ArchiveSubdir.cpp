#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "folders/FreeName.h"
#include "folders/TemporaryDirectories.h"
#include "platform/desktop/FilePackage.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"

namespace {

using namespace ox;

// Whether a folder may be made and moved by this name and all that its extensions are dropped to,
// without the path leading out of the folder that it is made in.
bool isSafeFolderName(std::string_view name) noexcept {
  while (hasPackageExtension(name)) {
    name = path::deletingExtension(name);
  }
  return !name.empty() && name != "." && name != "..";
}

// Tries the name out in `scratch`: a folder of that name loses one extension after the other until
// it is no package. One that cannot be made there loses them all the same, because the final folder
// may well be made. Gives the name that remains; no value when a move fails.
std::optional<std::string_view> unpackagedName(const PathBuffer& scratch, std::string_view name) {
  const bool isMade =
      files::createFolder(PathBuffer(scratch.view(), name)) == files::Creation::created;
  while (hasPackageExtension(name)) {
    const std::string_view shorter = path::deletingExtension(name);
    if (isMade &&
        !files::moveItem(PathBuffer(scratch.view(), name), PathBuffer(scratch.view(), shorter))) {
      return std::nullopt;
    }
    name = shorter;
  }
  return name;
}

// Exclusive creation decides: whoever is told that the name is taken goes on to the next.
OXString createFreeFolder(std::string_view name, std::string_view destination) {
  FreeName freeName(name, destination, true);
  while (files::createFolder(PathBuffer(freeName.next())) == files::Creation::nameTaken) {
  }
  return freeName.take();
}

}  // namespace

OXString OXSafelyCreateArchiveSubdir(OXStringView name, OXStringView destination,
                                     bool deletePathExtension) {
  if (!name || !destination || name->find_first_of(std::string_view("/\0", 2)) != name->npos) {
    return std::nullopt;
  }
  const std::string_view folderName = deletePathExtension ? path::deletingExtension(*name) : *name;
  if (!isSafeFolderName(folderName)) {
    return std::nullopt;
  }
  const std::optional<PathBuffer> scratch = createScratchFolder();
  if (!scratch) {
    return std::nullopt;
  }
  const std::optional<std::string_view> finalName = unpackagedName(*scratch, folderName);
  if (!finalName) {
    return std::nullopt;
  }
  // The folder within goes first: after it the scratch folder is empty, and need not be listed.
  files::removeItem(PathBuffer(scratch->view(), *finalName));
  files::removeItem(*scratch);
  return createFreeFolder(*finalName, *destination);
}
