#include <algorithm>
#include <array>
#include <mutex>
#include <span>
#include <utility>

#include "OrvexKit/OXDeltaNode.h"
#include "model/DeltaNodeChildList.h"
#include "platform/files/Path.h"
#include "platform/objects/SharedLock.h"

OXDeltaNode::OXDeltaNode() = default;
OXDeltaNode::~OXDeltaNode() = default;

OXString OXDeltaNode::name() const {
  const std::lock_guard lock(ox::sharedLock(this));
  return name_;
}

void OXDeltaNode::setName(OXStringView name) {
  OXString text(name);
  const std::lock_guard lock(ox::sharedLock(this));
  name_.swap(text);
}

OXString OXDeltaNode::physicalPath() const {
  const std::lock_guard lock(ox::sharedLock(this));
  return physicalPath_;
}

void OXDeltaNode::setPhysicalPath(OXStringView physicalPath) {
  OXString text(physicalPath);
  const std::lock_guard lock(ox::sharedLock(this));
  physicalPath_.swap(text);
}

std::shared_ptr<OXDeltaNode::ChildList> OXDeltaNode::childList() const noexcept {
  const std::lock_guard lock(ox::sharedLock(this));
  return children_;
}

std::shared_ptr<OXDeltaNode::ChildList> OXDeltaNode::makeChildList() {
  std::shared_ptr<ChildList> list = childList();
  if (list == nullptr) {
    list = ChildList::make();
    const std::lock_guard lock(ox::sharedLock(this));
    if (children_ == nullptr) {
      children_ = list;
    } else {
      list = children_;
    }
  }
  return list;
}

std::shared_ptr<const OXDeltaNode::List> OXDeltaNode::children() const noexcept {
  std::shared_ptr<ChildList> list = childList();
  const List* const nodes = list ? &list->nodes() : nullptr;
  return {std::move(list), nodes};
}

void OXDeltaNode::addChild(std::shared_ptr<OXDeltaNode> node) {
  if (node != nullptr) {
    makeChildList()->add(std::move(node));
  }
}

// Looks at some children at a time, because the locks of the list and of a node may be the same
// one.
std::shared_ptr<OXDeltaNode> OXDeltaNode::childNamed(OXStringView name) const {
  const std::shared_ptr<ChildList> list = childList();
  if (!name || list == nullptr) {
    return nullptr;
  }
  const auto isNamed = [&](const OXDeltaNode* child) {
    const std::lock_guard lock(ox::sharedLock(child));
    return child->name_ == name;
  };
  std::array<OXDeltaNode*, 64> some;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const std::size_t size = list->size();
  for (std::size_t start = 0; start < size; start += some.size()) {
    const std::span<OXDeltaNode*> children(some.data(), std::min(some.size(), size - start));
    list->copyFrom(start, children);
    const auto found = std::ranges::find_if(children, isNamed);
    if (found != children.end()) {
      return list->at(start + static_cast<std::size_t>(found - children.begin()));
    }
  }
  return nullptr;
}

OXString OXDeltaNode::fullPathOnDisk() const {
  const std::lock_guard lock(ox::sharedLock(this));
  if (!physicalPath_ || !name_) {
    return std::nullopt;
  }
  return ox::path::appendingComponent(*physicalPath_, *name_);
}
