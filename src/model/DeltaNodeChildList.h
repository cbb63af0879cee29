// A node's list of children, and how it is guarded while somebody walks it.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "OrvexKit/OXDeltaNode.h"

// Adding is checked, and done, under a lock that a walk takes when it begins and when it ends:
// between the two nobody changes the nodes, so that the walk itself reads them without a lock.
class OXDeltaNode::ChildList {
 public:
  // Its last owner lets go of the nodes without going deeper into the stack at each level of the
  // tree.
  static std::shared_ptr<ChildList> make() { return {new ChildList, release}; }

  ChildList() = default;
  ChildList(const ChildList&) = delete;
  ChildList& operator=(const ChildList&) = delete;

  void add(std::shared_ptr<OXDeltaNode> node);
  void beginVisit() noexcept;
  void endVisit() noexcept;

  // The node at a place in the list, or null behind the last: for a look at the nodes that does not
  // forbid adding. Those that are in the list stay in it.
  std::shared_ptr<OXDeltaNode> at(std::size_t index) const noexcept;

  const List& nodes() const noexcept { return nodes_; }

 private:
  static void release(ChildList* list) noexcept;
  std::size_t addInto(List& spare, std::shared_ptr<OXDeltaNode>& node);

  mutable std::atomic<std::uint32_t> lock_{0};
  List nodes_;
  std::size_t visits_ = 0;
  ChildList* nextReleased_ = nullptr;
};
