#include <algorithm>
#include <mutex>
#include <utility>

#include "OrvexKit/OXDeltaNode.h"
#include "model/DeltaNodeChildList.h"
#include "platform/Atomic.h"
#include "platform/Path.h"

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

std::shared_ptr<OXDeltaNode> OXDeltaNode::childNamed(OXStringView name) const {
  std::shared_ptr<ChildList> list = childList();
  if (!name || list == nullptr) {
    return nullptr;
  }
  const Visit visit(std::move(list));
  const auto isNamed = [&](const std::shared_ptr<OXDeltaNode>& child) {
    const std::lock_guard lock(ox::sharedLock(child.get()));
    return child->name_ == name;
  };
  const auto found = std::ranges::find_if(visit.nodes(), isNamed);
  return found != visit.nodes().end() ? *found : nullptr;
}

OXString OXDeltaNode::fullPathOnDisk() const {
  const std::lock_guard lock(ox::sharedLock(this));
  if (!physicalPath_ || !name_) {
    return std::nullopt;
  }
  return ox::path::appendingComponent(*physicalPath_, *name_);
}
