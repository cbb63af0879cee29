// SPDX-License-Identifier: MIT

// The files of a split archive.

#pragma once

#include <string>
#include <vector>

namespace tour {

struct Volumes {
  std::string name;                // of the archive, without the number of a volume: "photos.zip"
  std::vector<std::string> paths;  // absolute and in order; the archive begins in the first one
};

// The archive that `clicked` is, or is any volume of.
//
//   "/v/photos.zip.007"     => "photos.zip", {"/v/photos.zip.001", "/v/photos.zip.002", …}
//   "/v/photos.part07.rar"  => "photos.rar", {"/v/photos.part01.rar", "/v/photos.part02.rar", …}
//   "/v/photos.r05"         => "photos.rar", {"/v/photos.rar", "/v/photos.r00", …}
//   "/v/photos.zip"         => "photos.zip", {"/v/photos.zip"}
Volumes findVolumes(const std::string& clicked);

}  // namespace tour
