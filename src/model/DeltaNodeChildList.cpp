#include "model/DeltaNodeChildList.h"

#include <algorithm>
#include <mutex>

#include "platform/objects/FatalError.h"
#include "platform/objects/SharedLock.h"

std::shared_ptr<OXDeltaNode::ChildList> OXDeltaNode::ChildList::make() {
  return {new ChildList, release};
}

void OXDeltaNode::ChildList::add(std::shared_ptr<OXDeltaNode> node) {
  const std::lock_guard lock(ox::sharedLock(this));
  if (visits_ != 0) {
    ox::fatalError("a child was added to a list of nodes that is being walked");
  }
  nodes_.push_back(std::move(node));
}

void OXDeltaNode::ChildList::beginVisit() noexcept {
  const std::lock_guard lock(ox::sharedLock(this));
  ++visits_;
}

void OXDeltaNode::ChildList::endVisit() noexcept {
  const std::lock_guard lock(ox::sharedLock(this));
  --visits_;
}

std::size_t OXDeltaNode::ChildList::size() const noexcept {
  const std::lock_guard lock(ox::sharedLock(this));
  return nodes_.size();
}

void OXDeltaNode::ChildList::copyFrom(std::size_t start,
                                      std::span<OXDeltaNode*> nodes) const noexcept {
  const std::lock_guard lock(ox::sharedLock(this));
  const auto first = nodes_.begin() + static_cast<std::ptrdiff_t>(start);
  std::transform(first, first + static_cast<std::ptrdiff_t>(nodes.size()), nodes.begin(),
                 [](const std::shared_ptr<OXDeltaNode>& node) { return node.get(); });
}

std::shared_ptr<OXDeltaNode> OXDeltaNode::ChildList::at(std::size_t index) const noexcept {
  const std::lock_guard lock(ox::sharedLock(this));
  return nodes_[index];
}

void OXDeltaNode::ChildList::release(ChildList* list) noexcept {
  // Destroying a list releases its nodes, and they their lists, which end up here again: those only
  // queue up for the outermost call on this thread. They are linked through themselves, so that
  // nothing has to be allocated to give memory back.
  thread_local ChildList* queue = nullptr;
  thread_local bool isReleasing = false;
  list->nextReleased_ = std::exchange(queue, list);
  if (isReleasing) {
    return;
  }
  isReleasing = true;
  while (queue != nullptr) {
    const std::unique_ptr<ChildList> next(queue);
    queue = next->nextReleased_;
  }
  isReleasing = false;
}
