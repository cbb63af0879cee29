// References to items on disk.

#pragma once

#include <cstdint>
#include <string>

// Which item a path named when `OXReferenceFromPath` looked: a file, a folder or a link itself. It
// holds nothing open, so the item may since have moved, changed or gone, and once it is gone
// another item may get its numbers. A plain value: it may be copied, and one that is not being
// changed may be read by any number of threads.
struct OXFileReference {
  std::uint64_t device = 0;  // the file system, as `stat` numbers it
  std::uint64_t inode = 0;   // the item in it
  std::string path;          // where it was found, without slashes at the end

  // Whether both name the same item, found at the same path.
  friend bool operator==(const OXFileReference&, const OXFileReference&) = default;
};
