#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "folders/FreeName.h"
#include "folders/TemporaryDirectories.h"
#include "platform/FileManager.h"
#include "platform/FilePackage.h"
#include "platform/Path.h"

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
// it is no package. The last component of the result is the name that remains; no value when a move
// fails.
std::optional<PathBuffer> unpackagedFolder(const PathBuffer& scratch, std::string_view name) {
  std::optional<PathBuffer> probe(std::in_place, scratch.view(), name);
  files::createFolder(*probe);
  while (isFilePackage(*probe)) {
    PathBuffer shorter = *probe;
    shorter.truncate(path::deletingExtension(probe->view()).size());
    if (!files::moveItem(*probe, shorter)) {
      return std::nullopt;
    }
    probe = shorter;
  }
  return probe;
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
  const std::optional<PathBuffer> probe = unpackagedFolder(*scratch, folderName);
  if (!probe) {
    return std::nullopt;
  }
  // The folder within goes first: after it the scratch folder is empty, and need not be listed.
  files::removeItem(*probe);
  files::removeItem(*scratch);
  return createFreeFolder(path::lastComponent(probe->view()), *destination);
}
