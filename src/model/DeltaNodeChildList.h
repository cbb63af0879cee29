// SPDX-License-Identifier: MIT

// A node's list of children, and its protection while it is walked.

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

// A walk begins and ends a visit, under the lock, and adding during a visit is a fatal error. So
// the nodes do not change during a walk, which reads them without the lock.
class OXDeltaNode::ChildList {
 public:
  // The last owner releases the nodes without recursion, at any depth of the tree.
  static std::shared_ptr<ChildList> make() { return {new ChildList, release}; }

  ChildList() = default;
  ChildList(const ChildList&) = delete;
  ChildList& operator=(const ChildList&) = delete;

  void add(std::shared_ptr<OXDeltaNode> node) {
    // The storage that a full list moves to, allocated and freed without the lock.
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

  // The node at `index`, or null past the end. Not a visit, so nodes may be added between calls.
  // Nodes are never removed.
  std::shared_ptr<OXDeltaNode> at(std::size_t index) const noexcept {
    const ox::RecordGuard guard(lock_);
    return index < nodes_.size() ? nodes_[index] : nullptr;
  }

  const List& nodes() const noexcept { return nodes_; }

 private:
  // Adds the node and returns 0, or returns the capacity that `spare` needs for a full list.
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

  // Destroying a list's nodes releases their lists, which calls this function again. Those calls
  // only link their lists to the list of the outermost call on this thread, which destroys them in
  // turn. The links are members, so releasing allocates no memory.
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
