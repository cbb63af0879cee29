// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <vector>

#include "OrvexKit/OXDeltaNode.h"

namespace ox::test {

using Node = std::shared_ptr<OXDeltaNode>;

inline Node node(OXStringView name, OXStringView physicalPath = std::nullopt,
                 const std::vector<Node>& children = {}) {
  auto made = std::make_shared<OXDeltaNode>();
  made->setName(name);
  made->setPhysicalPath(physicalPath);
  for (const Node& child : children) {
    made->addChild(child);
  }
  return made;
}

}  // namespace ox::test
