#include "commands/TrashedArchives.h"

#include <OrvexKit/OXFileUtil.h>

#include <utility>

#include "console/Printable.h"
#include "reading/EntryPath.h"

namespace oxarchive {
namespace {

// A folder's own path, whichever way leads there.
std::string realFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return OXFileUtilAdditions::canonicalPath(folder).value_or(folder);
}

// Moves a volume to the Trash; "" when it is gone, else why it is not.
std::string trash(const OXFileReference& volume) {
  OXFileReference now;
  if (!OXReferenceFromPath(now, volume.path)) {
    return "it is not there any more";
  }
  if (now != volume) {
    return "it was replaced while it was extracted";
  }
  return OXMoveFileToTrashSync(volume.path) ? "" : "it cannot be moved to the Trash";
}

}  // namespace

std::vector<OXFileReference> referencesTo(const VolumeSet& volumes) {
  std::vector<OXFileReference> references;
  for (const std::string& path : volumes.paths) {
    OXFileReference reference;
    if (OXReferenceFromPath(reference, path)) {
      references.push_back(std::move(reference));
    }
  }
  return references;
}

void TrashedArchives::add(const std::vector<OXFileReference>& volumes) {
  for (const OXFileReference& volume : volumes) {
    if (names_.emplace(realFolderOf(volume.path), nameOf(volume.path)).second) {
      volumes_.push_back(volume);
    }
  }
}

bool TrashedArchives::moveToTrash(Console& console) {
  bool areAllGone = true;
  for (const OXFileReference& volume : volumes_) {
    const std::string reason = trash(volume);
    if (!reason.empty()) {
      console.message(printable(volume.path) + " stays where it is: " + reason);
      areAllGone = false;
    }
  }
  return areAllGone;
}

}  // namespace oxarchive
