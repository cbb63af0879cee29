// SPDX-License-Identifier: MIT

#include "OrvexKit/OXDeltaNode.h"

#include <utility>

#include "model/DeltaNodeChildList.h"
#include "platform/files/Path.h"
#include "platform/objects/RecordLock.h"

OXDeltaNode::OXDeltaNode() = default;
OXDeltaNode::~OXDeltaNode() = default;

OXString OXDeltaNode::name() const {
  return ox::copyOf(ox::getGuarded(lock_, contents_.name));
}

void OXDeltaNode::setName(OXStringView name) {
  ox::setGuarded(lock_, contents_.name, ox::sharedString(name));
}

OXString OXDeltaNode::physicalPath() const {
  return ox::copyOf(ox::getGuarded(lock_, contents_.physicalPath));
}

void OXDeltaNode::setPhysicalPath(OXStringView physicalPath) {
  ox::setGuarded(lock_, contents_.physicalPath, ox::sharedString(physicalPath));
}

std::shared_ptr<OXDeltaNode::ChildList> OXDeltaNode::childList() const noexcept {
  return ox::getGuarded(lock_, contents_.children);
}

std::shared_ptr<const OXDeltaNode::List> OXDeltaNode::children() const noexcept {
  std::shared_ptr<ChildList> list = childList();
  const List* const nodes = list ? &list->nodes() : nullptr;
  return {std::move(list), nodes};
}

void OXDeltaNode::addChild(std::shared_ptr<OXDeltaNode> node) {
  if (node == nullptr) {
    return;
  }
  std::shared_ptr<ChildList> list = childList();
  if (list == nullptr) {
    // Nothing is allocated under the lock. Another thread may create the list meanwhile.
    std::shared_ptr<ChildList> made = ChildList::make();
    const ox::RecordGuard guard(lock_);
    if (contents_.children == nullptr) {
      contents_.children.swap(made);
    }
    list = contents_.children;
  }
  list->add(std::move(node));
}

std::shared_ptr<OXDeltaNode> OXDeltaNode::childNamed(OXStringView name) const {
  const std::shared_ptr<ChildList> list = childList();
  if (!name || list == nullptr) {
    return nullptr;
  }
  std::shared_ptr<OXDeltaNode> child;
  for (std::size_t i = 0; (child = list->at(i)) != nullptr; ++i) {
    const ox::SharedString childName = ox::getGuarded(child->lock_, child->contents_.name);
    if (childName != nullptr && *childName == *name) {
      break;
    }
  }
  return child;
}

OXDeltaNode::Contents OXDeltaNode::contents() const noexcept {
  const ox::RecordGuard guard(lock_);
  return contents_;
}

OXString OXDeltaNode::fullPathOnDisk() const {
  const auto [name, physicalPath, children] = contents();
  if (physicalPath == nullptr || name == nullptr) {
    return std::nullopt;
  }
  return ox::path::appendingComponent(*physicalPath, *name);
}
