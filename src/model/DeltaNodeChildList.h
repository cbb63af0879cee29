// A node's list of children, and how it is guarded while somebody walks it.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

#include "OrvexKit/OXDeltaNode.h"
#include "platform/objects/BadAlloc.h"
#include "platform/objects/FatalError.h"
#include "platform/objects/RecordLock.h"

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

  void add(std::shared_ptr<OXDeltaNode> node) {
    // Where a full list moves to: memory is asked for, and given back, without the lock.
    List spare;
    while (const std::size_t wanted = addInto(spare, node)) {
      ox::orBadAlloc([&] { spare.reserve(wanted); });
    }
  }

  void beginVisit() noexcept {
    const ox::RecordGuard guard(lock_);
    ++visits_;
  }

  void endVisit() noexcept {
    const ox::RecordGuard guard(lock_);
    --visits_;
  }

  // The node at a place in the list, or null behind the last: for a look at the nodes that does not
  // forbid adding. Those that are in the list stay in it.
  std::shared_ptr<OXDeltaNode> at(std::size_t index) const noexcept {
    const ox::RecordGuard guard(lock_);
    return index < nodes_.size() ? nodes_[index] : nullptr;
  }

  const List& nodes() const noexcept { return nodes_; }

 private:
  // Gives the room that `spare` needs when the list is full; 0 when the node was added.
  std::size_t addInto(List& spare, std::shared_ptr<OXDeltaNode>& node) {
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

  // Releasing a list's nodes releases their lists, which end up here again: those only queue up for
  // the outermost call on this thread. They are linked through themselves, so that nothing has to
  // be allocated to give memory back.
  static void release(ChildList* list) noexcept {
    thread_local ChildList* current = nullptr;
    if (current != nullptr) {
      list->nextReleased_ = std::exchange(current->nextReleased_, list);
      return;
    }
    current = list;
    while (current != nullptr) {
      current->nodes_.clear();
      const std::unique_ptr<ChildList> done(std::exchange(current, current->nextReleased_));
    }
  }

  mutable std::atomic<std::uint32_t> lock_{0};
  List nodes_;
  std::size_t visits_ = 0;
  ChildList* nextReleased_ = nullptr;
};
