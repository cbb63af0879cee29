#pragma once

#include <string>
#include <vector>

namespace oxarchive {

// The files that form an archive.
struct VolumeSet {
  std::vector<std::string> paths;  // in order
  std::string name;    // the archive's own, without folders and the number of a volume: "disk.7z"
  std::string folder;  // where they are, with "/" at its end; "" for the current folder
};

// The archive that the file at `path` is, or is a volume of. Three ways of numbering volumes are
// known, as `OXGetFirstArchiveVolumePath` tells them, and more of each: volumes beyond ".r99" are
// called ".s00" and so on, numbers grow wider where they have to (".part9.rar", ".part10.rar"), RAR
// sets may be in capitals, and numbers may be counted from 0 (".00", ".01").
//
// A file whose name is numbered but which is an archive of its own, such as an old copy
// ("etc.tar.gz.2"), stands alone.
//
// Throws ArchiveFailure when the file cannot be opened, or when a volume of the set is missing.
//
//   "/d/photos.zip"                       => {"/d/photos.zip"}, "photos.zip", "/d/"
//   "disk.7z.002", "disk.7z.001" there    => {"disk.7z.001", "disk.7z.002"}, "disk.7z", ""
//   "movie.part3.rar", all there          => {"movie.part1.rar", …}, "movie.rar", ""
//   "disk.7z.002", "disk.7z.001" missing  => ArchiveFailure
VolumeSet findVolumes(const std::string& path);

}  // namespace oxarchive
