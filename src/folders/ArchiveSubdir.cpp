#include "OrvexKit/OXFileUtil.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "folders/FreeName.h"
#include "platform/desktop/Desktop.h"
#include "platform/files/Files.h"
#include "platform/files/Folder.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

using Access = Folder::Access;

// Whether this name, and each that is left when its package extensions are dropped, stays in the
// folder where it is used.
bool isSafeFolderName(std::string_view name) noexcept {
  while (hasPackageExtension(name)) {
    name = path::deletingExtension(name);
  }
  return !name.empty() && name != "." && name != "..";
}

// Opens the scratch folder at `path`, and the folder that it is in. False if another item has
// already taken its place.
bool openScratch(const std::string& path, Folder& parent, Folder& scratch,
                 struct ::stat& status) noexcept {
  const PathBuffer parentPath(path::deletingLastComponent(path));
  parent = Folder::open(parentPath.c_str(), Access::use, Folder::Links::follow);
  scratch = parent.openFolder(path::lastComponent(path).data(), Access::use);
  return scratch.status(status) == 0 &&
         // As it was made: nobody else can have moved such a folder here.
         status.st_uid == ::geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

// Drops the name's extensions until it is no package, and moves a folder in a scratch folder along.
// The name alone decides what a package is; the scratch folder shows only whether a move fails.
// Returns the name that remains. No value if there is no scratch folder or a move fails; what was
// made is left then.
//
// Others may be able to rename what is in the temporary folder. So everything goes by the open
// scratch folder, and only the empty folder that was made in it is moved and removed.
OXString unpackagedName(std::string name) {
  const OXString path = OXCreateTemporaryDirectory();
  Folder parent;
  Folder scratch;
  struct ::stat made;
  if (!path || !openScratch(*path, parent, scratch, made)) {
    return std::nullopt;
  }
  // One that cannot be made loses its extensions all the same, because the final folder may well be
  // made.
  const bool isMade = scratch.makeFolder(name.c_str(), S_IRWXU) == 0;
  while (hasPackageExtension(name)) {
    std::string shorter(path::deletingExtension(name));
    if (isMade && scratch.rename(name.c_str(), scratch, shorter.c_str()) != 0) {
      return std::nullopt;
    }
    name = std::move(shorter);
  }
  if (isMade) {
    scratch.removeFolder(name.c_str());
  }
  const char* const scratchName = path::lastComponent(*path).data();
  struct ::stat found;
  if (parent.statusOf(scratchName, found) == 0 && identityOf(found) == identityOf(made)) {
    parent.removeFolder(scratchName);
  }
  return name;
}

// Exclusive creation decides: if the name is taken, the next one is tried.
OXString createFreeFolder(std::string_view name, std::string_view destination) {
  FreeName freeName(name, destination, true);
  while (files::createFolder(PathBuffer(freeName.next())) == EEXIST) {
  }
  return freeName.take();
}

}  // namespace
}  // namespace ox

OXString OXSafelyCreateArchiveSubdir(OXStringView name, OXStringView destination,
                                     bool deletePathExtension) {
  if (!name || !destination || name->find_first_of(std::string_view("/\0", 2)) != name->npos) {
    return std::nullopt;
  }
  return ox::orBadAlloc([&] {
    std::string folderName(deletePathExtension ? ox::path::deletingExtension(*name) : *name);
    const bool isSafe = ox::isSafeFolderName(folderName);
    const OXString finalName = isSafe ? ox::unpackagedName(std::move(folderName)) : std::nullopt;
    return finalName ? ox::createFreeFolder(*finalName, *destination) : std::nullopt;
  });
}
