#include "OrvexKit/OXDeltaNode.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "model/DeltaNodeChildList.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"
#include "platform/objects/FatalError.h"

// A walk in progress: the levels from its start down to where it is, instead of calls that call
// themselves, and the two paths, which are made longer and shorter in place.
class OXDeltaNode::Walk {
 public:
  explicit Walk(const TraversalCallback& callback) : callback_(callback) {}

  void run(std::shared_ptr<ChildList> start) {
    enter(std::move(start));
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (level.next == level.visit.nodes().size()) {
        levels_.pop_back();
      } else {
        level.prefix.restore(relative_);
        report(*level.visit.nodes()[level.next++]);
      }
    }
  }

 private:
  // What has to be known of a path to come back to it after components were appended to it, which
  // takes slashes off its end.
  class Prefix {
   public:
    explicit Prefix(const std::string& path)
        : end_(path.find_last_not_of('/') + 1), slashes_(path.size() - end_) {}

    void restore(std::string& path) const {
      path.resize(end_);
      path.append(slashes_, '/');
    }

   private:
    std::size_t end_;  // 0 when there is nothing but slashes
    std::size_t slashes_;
  };

  struct Level {
    Visit visit;
    std::size_t next;
    Prefix prefix;
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

  // Whether the node has a place of its own on disk.
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
    Visit visit(std::move(list));
    refuseCircle(visit.nodes());
    if (!visit.nodes().empty()) {
      levels_.push_back({std::move(visit), 0, Prefix(relative_)});
    }
  }

  // A list repeats on one path only in a cycle. It is compared with the lists at the last two
  // depths that are multiples of 1, of 2, of 4 and so on. Let p be the largest power of two that is
  // no longer than the cycle: a multiple of p is passed in the first round, and is still one of the
  // last two when its list repeats, within the second round.
  void refuseCircle(const List& nodes) const {
    const std::size_t depth = levels_.size();
    for (std::size_t step = 1; step <= depth; step *= 2) {
      const std::size_t last = (depth - 1) / step * step;
      if (isAt(last, nodes) || (last != 0 && isAt(last - step, nodes))) {
        ox::fatalError("a node is below itself in the tree that is being walked");
      }
    }
  }

  bool isAt(std::size_t level, const List& nodes) const {
    return &levels_[level].visit.nodes() == &nodes;
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
