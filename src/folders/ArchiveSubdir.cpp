#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include "OrvexKit/OXFileUtil.h"
#include "folders/FreeName.h"
#include "platform/desktop/FilePackage.h"
#include "platform/files/Files.h"
#include "platform/files/Folder.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// Whether a folder may be made and moved by this name and all that its extensions are dropped to,
// without the path leading out of the folder that it is made in.
bool isSafeFolderName(std::string_view name) noexcept {
  while (hasPackageExtension(name)) {
    name = path::deletingExtension(name);
  }
  return !name.empty() && name != "." && name != "..";
}

// A scratch folder, in which a name is tried out before a folder of that name is made for the
// caller. The name alone decides what a package is; the trial decides only whether a move fails.
//
// Others may be able to rename what is in the temporary folder. So everything goes by the open
// scratch folder, and only what was made in it is moved and removed, never with any contents.
class Trial {
 public:
  // No value when there is no scratch folder, or another item has taken its place already.
  static std::optional<Trial> start() {
    const OXString path = OXCreateTemporaryDirectory();
    Trial trial;
    if (!path || !trial.open(*path)) {
      return std::nullopt;
    }
    return trial;
  }

  // Makes a folder and drops its name's extensions until it is no package. One that cannot be made
  // loses them all the same, because the final folder may well be made. Gives the name that
  // remains; no value when a move fails, and then all is left where it is.
  OXString unpackagedName(std::string name) const {
    const bool isMade = scratch_.makeFolder(name.c_str(), S_IRWXU) == 0;
    while (hasPackageExtension(name)) {
      std::string shorter(path::deletingExtension(name));
      if (isMade && scratch_.rename(name.c_str(), scratch_, shorter.c_str()) != 0) {
        return std::nullopt;
      }
      name = std::move(shorter);
    }
    if (isMade) {
      scratch_.removeFolder(name.c_str());
    }
    removeScratch();
    return name;
  }

 private:
  Trial() = default;

  bool open(const std::string& path) {
    name_ = path::lastComponent(path);
    struct ::stat status;
    if (Folder::open(std::string(path::deletingLastComponent(path)).c_str(), Folder::Access::use,
                     Folder::Links::follow, parent_) != 0 ||
        parent_.openFolder(name_.c_str(), Folder::Access::use, scratch_) != 0 ||
        scratch_.status(status) != 0) {
      return false;
    }
    identity_ = identityOf(status);
    // As it was made: nobody else can have moved a folder here that is so.
    return status.st_uid == ::geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
  }

  void removeScratch() const noexcept {
    struct ::stat status;
    if (parent_.statusOf(name_.c_str(), status) == 0 && identityOf(status) == identity_) {
      parent_.removeFolder(name_.c_str());
    }
  }

  Folder parent_;
  Folder scratch_;
  std::string name_;
  Identity identity_;
};

// Exclusive creation decides: whoever is told that the name is taken goes on to the next.
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
    const auto trial = ox::isSafeFolderName(folderName) ? ox::Trial::start() : std::nullopt;
    const OXString finalName = trial ? trial->unpackagedName(std::move(folderName)) : std::nullopt;
    return finalName ? ox::createFreeFolder(*finalName, *destination) : std::nullopt;
  });
}
