#pragma once

#include <string>

#include "system/Limits.h"
#include "volumes/VolumeSet.h"

namespace oxarchive {

// Calls `findVolumes` in a caged process, because it reads the contents of the files. Throws
// ArchiveFailure as it does.
VolumeSet findArchiveFiles(const std::string& path, const Limits& limits);

}  // namespace oxarchive
