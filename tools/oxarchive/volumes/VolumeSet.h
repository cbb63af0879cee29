// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "system/Limits.h"

namespace oxarchive {

// The files that form an archive.
struct VolumeSet {
  std::vector<std::string> paths;  // in order
  std::string name;                // of the archive, without folder and volume number: "disk.7z"
  std::string folder;              // of the volumes, ending in "/"; "" is the current folder
};

// The archive that the file at `path` is, or is a volume of. Knows the three numberings of
// `OXGetFirstArchiveVolumePath`, and extends them: ".s00" follows ".r99", numbers may grow wider
// (".part9.rar", ".part10.rar"), RAR names may be in upper case, and numbers may start at 0 (".00",
// ".01"), also as `split -d` counts (".89", ".9000").
//
// A numbered file that is a complete archive, such as a rotated copy ("etc.tar.gz.2"), is not part
// of a set.
//
// Throws ArchiveFailure when the file cannot be opened, or when a volume of the set is missing.
//
//   "/d/photos.zip"                       => {"/d/photos.zip"}, "photos.zip", "/d/"
//   "disk.7z.002", "disk.7z.001" there    => {"disk.7z.001", "disk.7z.002"}, "disk.7z", ""
//   "movie.part3.rar", all there          => {"movie.part1.rar", …}, "movie.rar", ""
//   "disk.7z.002", "disk.7z.001" missing  => ArchiveFailure
VolumeSet findVolumes(const std::string& path);

// The same in a caged process, because it reads the contents of the files.
VolumeSet findVolumesCaged(const std::string& path, const Limits& limits);

}  // namespace oxarchive
