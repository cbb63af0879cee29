#pragma once

#include <OrvexKit/platform/OXFileReference.h>

#include <set>
#include <string>
#include <vector>

#include "console/Console.h"
#include "volumes/VolumeSet.h"

namespace oxarchive {

// Which items the volumes of an archive are. An archive that cannot be looked at has fewer.
std::vector<OXFileReference> referencesTo(const VolumeSet& volumes);

// Archives that are to go to the Trash once all work is done: until then they may be needed again,
// since several volumes of one may have been given.
class TrashedArchives {
 public:
  // All volumes of an archive, as they were before it was read.
  void add(const std::vector<OXFileReference>& volumes);

  // Moves them, and says which had to stay, and why. Whether all are gone.
  bool moveToTrash(Console& console);

 private:
  std::vector<OXFileReference> volumes_;
  std::set<std::pair<std::string, std::string>> names_;  // the same by another path is the same
};

}  // namespace oxarchive
