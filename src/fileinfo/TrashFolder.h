// The Trash that an item goes to (freedesktop.org Trash 1.0).

#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/files/FileDescriptor.h"

namespace ox {

// A Trash that is there, with its two folders.
struct TrashFolder {
  FileDescriptor folder;
  FileDescriptor info;   // says where each item came from, and when
  FileDescriptor files;  // the items

  // The folder that the paths in `info` start in, with a "/" at the end; empty for absolute ones.
  std::string top;
};

// The Trash for items in `parent`, an absolute path without links, on the file system `device`: the
// user's own where it lies on the same file system, else the one at the top of the item's, if that
// is a place that users keep files in. It is made when it is missing. No value when there is none.
std::optional<TrashFolder> openTrash(dev_t device, const std::string& parent);

}  // namespace ox
