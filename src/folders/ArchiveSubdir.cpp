// SPDX-License-Identifier: MIT

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

// Whether the name, without its package extensions, names an item in the folder where it is used.
// "/" and NUL have been refused before.
bool isSafeFolderName(std::string_view name) noexcept {
  while (hasPackageExtension(name)) {
    name = path::deletingExtension(name);
  }
  return !name.empty() && name != "." && name != "..";
}

// Opens the scratch folder at `path` and its parent. Returns false if that fails, or if another
// item has taken the place of the scratch folder.
bool openScratch(const std::string& path, Folder& parent, Folder& scratch,
                 struct ::stat& status) noexcept {
  const PathBuffer parentPath(path::deletingLastComponent(path));
  parent = Folder::open(parentPath.c_str(), Access::use, Folder::Links::follow);
  scratch = parent.openFolder(path::lastComponent(path).data(), Access::use);
  return scratch.status(status) == 0 &&
         // Owner and permissions are as created: nobody else can move such a folder here.
         status.st_uid == ::geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

// Drops package extensions from the name until none is left, and returns the rest. At each step,
// renames a folder in a scratch folder, only to see whether that fails: the name alone decides what
// a package is. If a rename fails or there is no scratch folder, returns no value and leaves what
// was created.
//
// Others may be able to rename items in the temporary folder. So all calls go through the open
// scratch folder, and only the empty folder that was created in it is renamed and removed.
OXString unpackagedName(std::string name) {
  const OXString path = OXCreateTemporaryDirectory();
  Folder parent;
  Folder scratch;
  struct ::stat made;
  if (!path || !openScratch(*path, parent, scratch, made)) {
    return std::nullopt;
  }
  // If this fails, the final folder may still be created: its name may be shorter.
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

// Creates the folder exclusively, and tries the next name if one is taken. Returns the path after
// any other failure too, which the caller notices when it uses the folder.
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
