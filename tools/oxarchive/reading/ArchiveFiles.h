#pragma once

#include <string>

#include "system/Limits.h"
#include "volumes/VolumeSet.h"

namespace oxarchive {

// What `findVolumes` gives, found by a caged process: which files form an archive is for a part up
// to what is in them. Throws ArchiveFailure as it does.
VolumeSet findArchiveFiles(const std::string& path, const Limits& limits);

}  // namespace oxarchive
