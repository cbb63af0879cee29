// SPDX-License-Identifier: MIT

#include "OrvexKit/OXDeltaNode.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "model/DeltaNodeChildList.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"
#include "platform/objects/FatalError.h"

// A walk in progress. A stack of levels, from the start to the current node, replaces recursion.
// The two paths are extended and truncated in place.
class OXDeltaNode::Walk {
 public:
  explicit Walk(const TraversalCallback& callback) : callback_(callback) {}

  void run(std::shared_ptr<ChildList> start) {
    enter(std::move(start));
    while (!levels_.empty()) {
      Level& level = levels_.back();
      const List& nodes = level.list->nodes();
      if (level.next == nodes.size()) {
        levels_.pop_back();
      } else {
        relative_.resize(level.prefixEnd);
        relative_.append(level.prefixSlashes, '/');
        report(*nodes[level.next++]);
      }
    }
  }

 private:
  struct EndVisit {
    void operator()(ChildList* list) const noexcept { list->endVisit(); }
  };

  struct Level {
    std::shared_ptr<ChildList> list;
    std::unique_ptr<ChildList, EndVisit> visit;  // of the list; ended by its destructor
    std::size_t next;
    // The relative path of this level. Appending a name to it removes its trailing slashes.
    std::size_t prefixEnd;  // its length without these; 0 if it has nothing else
    std::size_t prefixSlashes;
  };

  void report(const OXDeltaNode& node) {
    Contents contents = node.contents();
    const bool isReported = ox::orBadAlloc([&] { return appendToPaths(contents); });
    if (isReported) {
      callback_(relative_, disk_, node.isFolder());
    }
    if (contents.children != nullptr) {
      enter(std::move(contents.children));
    }
  }

  // Returns whether the node has a place of its own on disk.
  bool appendToPaths(const Contents& contents) {
    if (contents.name == nullptr) {
      return false;
    }
    ox::path::appendComponent(relative_, *contents.name);
    if (contents.physicalPath == nullptr) {
      return false;
    }
    disk_ = *contents.physicalPath;
    ox::path::appendComponent(disk_, *contents.name);
    return true;
  }

  void enter(std::shared_ptr<ChildList> list) {
    list->beginVisit();
    std::unique_ptr<ChildList, EndVisit> visit(list.get());
    refuseCircle(*list);
    if (!list->nodes().empty()) {
      const std::size_t end = relative_.find_last_not_of('/') + 1;
      levels_.push_back({.list = std::move(list),
                         .visit = std::move(visit),
                         .next = 0,
                         .prefixEnd = end,
                         .prefixSlashes = relative_.size() - end});
    }
  }

  // A list occurs twice on one path only in a cycle. It is compared with the lists at the last two
  // depths that are multiples of 1, of 2, of 4 and so on. This finds a cycle of c lists in its
  // second round: let p be the power of two with p <= c < 2p. The first round passes a multiple of
  // p, and that is still one of the last two when its list occurs again.
  void refuseCircle(const ChildList& list) const {
    const std::size_t depth = levels_.size();
    for (std::size_t step = 1; step <= depth; step *= 2) {
      const std::size_t last = (depth - 1) / step * step;
      if (levels_[last].list.get() == &list ||
          (last != 0 && levels_[last - step].list.get() == &list)) {
        ox::fatalError("a node is below itself in the tree that is being walked");
      }
    }
  }

  const TraversalCallback& callback_;
  std::vector<Level> levels_;
  std::string relative_;
  std::string disk_;
};

void OXDeltaNode::traversePathsUsingBlock(const TraversalCallback& callback) const {
  if (std::shared_ptr<ChildList> list = childList(); list != nullptr && callback) {
    Walk(callback).run(std::move(list));
  }
}
