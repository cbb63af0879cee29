// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/OXDeltaNode.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace oxarchive {

// The items to pack, as found on disk.
struct DeltaTree {
  std::shared_ptr<OXDeltaNode> root = std::make_shared<OXDeltaNode>();
  std::uint64_t entries = 0;
  std::uint64_t bytes = 0;              // of all files
  std::vector<std::string> unreadable;  // whole messages, printable
  std::vector<std::string> leftOut;     // the same for devices, pipes and sockets
};

// The tree of the items at `paths` with everything below them, each under its last component, or
// the folder's own name for "." and "..". Links are not followed. The items of a folder are sorted
// by their bytes, so that the same folder always gives the same tree.
//
// Throws UsageError if two items would have the same name, or one has none ("/"), and
// ArchiveFailure if interrupted.
DeltaTree treeOfItems(const std::vector<std::string>& paths);

}  // namespace oxarchive
