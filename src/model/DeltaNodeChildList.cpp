#include "model/DeltaNodeChildList.h"

#include <iterator>
#include <utility>

#include "platform/objects/BadAlloc.h"
#include "platform/objects/FatalError.h"
#include "platform/objects/RecordLock.h"

void OXDeltaNode::ChildList::add(std::shared_ptr<OXDeltaNode> node) {
  List spare;  // where a full list moves to: memory is asked for, and given back, without the lock
  while (const std::size_t wanted = addInto(spare, node)) {
    ox::orBadAlloc([&] { spare.reserve(wanted); });
  }
}

// Gives the room that `spare` needs when the list is full; 0 when the node was added.
std::size_t OXDeltaNode::ChildList::addInto(List& spare, std::shared_ptr<OXDeltaNode>& node) {
  {
    const ox::RecordGuard guard(lock_);
    if (visits_ == 0) {
      if (nodes_.size() == nodes_.capacity()) {
        if (spare.capacity() <= nodes_.size()) {
          return 2 * nodes_.size() + 1;
        }
        spare.assign(std::move_iterator(nodes_.begin()), std::move_iterator(nodes_.end()));
        nodes_.swap(spare);
      }
      nodes_.push_back(std::move(node));
      return 0;
    }
  }
  ox::fatalError("a child was added to a list of nodes that is being walked");
}

void OXDeltaNode::ChildList::beginVisit() noexcept {
  const ox::RecordGuard guard(lock_);
  ++visits_;
}

void OXDeltaNode::ChildList::endVisit() noexcept {
  const ox::RecordGuard guard(lock_);
  --visits_;
}

std::shared_ptr<OXDeltaNode> OXDeltaNode::ChildList::at(std::size_t index) const noexcept {
  const ox::RecordGuard guard(lock_);
  return index < nodes_.size() ? nodes_[index] : nullptr;
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
