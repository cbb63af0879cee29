// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>

#include <cstdint>
#include <string>

/// Which file, folder or symbolic link a path named when `OXReferenceFromPath` looked. Opens
/// nothing: the item may since have moved, changed or gone, and another may get a removed item's
/// numbers. A plain value, thread-safe to read while nobody changes it.
/// \ingroup files
struct OXFileReference {
  std::uint64_t device = 0;  ///< The file system, as `stat` numbers it.
  std::uint64_t inode = 0;   ///< The item in the file system.
  std::string path;          ///< Where the item was found, without trailing slashes.

  /// Whether both name the same item, found at the same path.
  friend bool operator==(const OXFileReference&, const OXFileReference&) = default;
};
