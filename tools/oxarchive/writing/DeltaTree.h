#pragma once

#include <OrvexKit/OXDeltaNode.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace oxarchive {

// What is to be packed, as the disk has it when it is looked through.
struct DeltaTree {
  std::shared_ptr<OXDeltaNode> root = std::make_shared<OXDeltaNode>();
  std::uint64_t entries = 0;
  std::uint64_t bytes = 0;              // in all files
  std::vector<std::string> unreadable;  // whole messages, printable
  std::vector<std::string> leftOut;     // the same for devices, pipes and sockets
};

// The tree of all items at `paths` and of what is in those that are folders, each under its last
// component, or the folder's own name for "." and "..". Links are not followed, and the items of a
// folder are in the order of their bytes, so that the same folder always gives the same tree.
//
// Throws UsageError when two items would have the same name, or one has none ("/"), and
// ArchiveFailure when interrupted.
DeltaTree treeOfItems(const std::vector<std::string>& paths);

}  // namespace oxarchive
