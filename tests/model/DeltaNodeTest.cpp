// SPDX-License-Identifier: MIT

#include "OrvexKit/OXDeltaNode.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/Nodes.h"
#include "support/AllocationCount.h"

namespace {

using ox::test::node;

// A tree may have a million of these.
static_assert(sizeof(OXDeltaNode) == (sizeof(void*) == 8 ? 64 : 36));
static_assert(!std::is_copy_constructible_v<OXDeltaNode>);
static_assert(std::is_same_v<decltype(OXDeltaNode().children()),
                             std::shared_ptr<const std::vector<std::shared_ptr<OXDeltaNode>>>>);

TEST(DeltaNode, StartsEmpty) {
  const OXDeltaNode fresh;
  EXPECT_EQ(fresh.name(), std::nullopt);
  EXPECT_EQ(fresh.physicalPath(), std::nullopt);
  EXPECT_EQ(fresh.children(), nullptr);
  EXPECT_FALSE(fresh.isFolder());
}

TEST(DeltaNode, KeepsWhatIsSet) {
  OXDeltaNode item;
  item.setName("name");
  item.setPhysicalPath("/folder");
  item.setIsFolder(true);
  EXPECT_EQ(item.name(), "name");
  EXPECT_EQ(item.physicalPath(), "/folder");
  EXPECT_TRUE(item.isFolder());
  item.setName("");
  item.setPhysicalPath(std::nullopt);
  item.setIsFolder(false);
  EXPECT_EQ(item.name(), "");
  EXPECT_EQ(item.physicalPath(), std::nullopt);
  EXPECT_FALSE(item.isFolder());
  item.setName(std::nullopt);
  EXPECT_EQ(item.name(), std::nullopt);
}

TEST(DeltaNode, IsEqualToItselfAlone) {
  const auto one = node("same");
  const auto other = node("same");
  EXPECT_TRUE(one->isEqual(one.get()));
  EXPECT_FALSE(one->isEqual(other.get()));
  EXPECT_NE(one->hash(), other->hash());
}

TEST(DeltaNode, AddsChildrenToTheEndOfOneList) {
  OXDeltaNode root;
  const auto a = node("a");
  const auto b = node("b");
  root.addChild(a);
  const std::shared_ptr<const OXDeltaNode::List> list = root.children();
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(*list, OXDeltaNode::List{a});
  root.addChild(b);
  EXPECT_EQ(root.children(), list);
  EXPECT_EQ(*list, (OXDeltaNode::List{a, b}));
  EXPECT_EQ(a->children(), nullptr);
}

TEST(DeltaNode, AddsNothingForANullChild) {
  OXDeltaNode root;
  root.addChild(nullptr);
  EXPECT_EQ(root.children(), nullptr);
  root.addChild(node("a"));
  root.addChild(nullptr);
  EXPECT_EQ(root.children()->size(), 1U);
}

TEST(DeltaNode, TakesAnyNodeForAChild) {
  OXDeltaNode root;
  const auto twice = node("twice");
  root.addChild(twice);
  root.addChild(twice);
  root.addChild(node("twice"));
  EXPECT_EQ(root.children()->size(), 3U);
  EXPECT_EQ(root.children()->at(1), twice);
}

TEST(DeltaNode, KeepsItsChildrenWhenThereIsNoMemoryForAnother) {
  const auto child = node("child");
  for (std::size_t first = 0; first < 3; ++first) {
    OXDeltaNode root;
    {
      const ox::test::AllocationFailure failure(first);
      EXPECT_THROW(root.addChild(child), std::bad_alloc);
    }
    EXPECT_TRUE(root.children() == nullptr || root.children()->empty());
    root.addChild(child);
    EXPECT_EQ(root.children()->size(), 1U);
  }
  EXPECT_EQ(child.use_count(), 1);
}

TEST(DeltaNode, FindsTheFirstChildOfAName) {
  OXDeltaNode root;
  EXPECT_EQ(root.childNamed("a"), nullptr) << "no children";
  EXPECT_EQ(root.childNamed(std::nullopt), nullptr);

  const auto nameless = node(std::nullopt);
  const auto first = node("a");
  const auto second = node("a");
  const auto upper = node("A");
  const auto empty = node("");
  const auto below = node("below");
  first->addChild(below);
  for (const auto& child : {nameless, first, second, upper, empty}) {
    root.addChild(child);
  }
  EXPECT_EQ(root.childNamed("a"), first);
  EXPECT_EQ(root.childNamed("A"), upper);
  EXPECT_EQ(root.childNamed(""), empty);
  EXPECT_EQ(root.childNamed("below"), nullptr) << "only direct children are searched";
  EXPECT_EQ(root.childNamed("a/"), nullptr);
  EXPECT_EQ(root.childNamed(std::string("a\0", 2)), nullptr);
  EXPECT_EQ(root.childNamed(std::nullopt), nullptr) << "null matches no child";

  first->setName("renamed");
  EXPECT_EQ(root.childNamed("a"), second);
  root.addChild(node("added after a search"));
  EXPECT_NE(root.childNamed("added after a search"), nullptr);
}

struct NodePathRow {
  OXString physicalPath;
  OXString name;
  OXString full;
};

TEST(DeltaNode, FindsEachOfManyChildren) {
  OXDeltaNode root;
  std::vector<std::shared_ptr<OXDeltaNode>> children;
  for (int i = 0; i < 200; ++i) {
    children.push_back(node(std::to_string(i)));
    root.addChild(children.back());
  }
  root.addChild(node("64"));
  root.addChild(node("199"));
  for (std::size_t i = 0; i < children.size(); ++i) {
    EXPECT_EQ(root.childNamed(std::to_string(i)), children[i]) << i;
  }
  EXPECT_EQ(root.childNamed("200"), nullptr);
}

TEST(DeltaNode, JoinsItsFullPathOnDisk) {
  const NodePathRow rows[] = {
      {"/d", "f", "/d/f"},
      {"/d/", "f", "/d/f"},
      {"/d//", "f", "/d/f"},
      {"/d", "/f", "/d/f"},
      {"/", "f", "/f"},
      {"d", "f", "d/f"},
      {"", "f", "f"},
      {"", "", ""},
      {"/d", "", "/d"},
      {"/d/", "", "/d/"},
      {"/d", "f/", "/d/f/"},
      {"/d", "f.tar.gz", "/d/f.tar.gz"},
      {std::nullopt, "f", std::nullopt},
      {"/d", std::nullopt, std::nullopt},
      {std::nullopt, std::nullopt, std::nullopt},
  };
  for (const NodePathRow& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.physicalPath) + " " + testing::PrintToString(row.name));
    EXPECT_EQ(node(row.name, row.physicalPath)->fullPathOnDisk(), row.full);
  }
}

TEST(DeltaNode, ReleasesWhatItHolds) {
  const auto child = node("child");
  const auto grandchild = node("grandchild");
  const std::string_view mark = "a name that is looked for in memory that was given back";
  const ox::test::FreedMemoryWatch watch(mark);
  auto root = node(mark, mark);
  root->addChild(child);
  child->addChild(grandchild);
  EXPECT_EQ(child.use_count(), 2);
  root.reset();
  EXPECT_EQ(watch.found(), 2U);
  EXPECT_EQ(child.use_count(), 1);
  EXPECT_EQ(grandchild.use_count(), 2) << "its parent still exists";
}

TEST(DeltaNode, LeavesItsListToWhoStillHoldsIt) {
  auto root = std::make_shared<OXDeltaNode>();
  const std::weak_ptr<OXDeltaNode> weakRoot = root;
  root->addChild(node("a"));
  const std::shared_ptr<const OXDeltaNode::List> list = root->children();
  root.reset();
  EXPECT_TRUE(weakRoot.expired());
  ASSERT_EQ(list->size(), 1U);
  EXPECT_EQ(list->at(0)->name(), "a");
}

// A node that reports its destruction, and then releases another tree.
class Watched : public OXDeltaNode {
 public:
  Watched(int* ended, std::shared_ptr<OXDeltaNode> other)
      : ended_(ended), other_(std::move(other)) {}
  ~Watched() override { ++*ended_; }

 private:
  int* ended_;
  std::shared_ptr<OXDeltaNode> other_;
};

TEST(DeltaNode, ReleasesTreesThatHangOnOneAnother) {
  int ended = 0;
  auto outer = std::make_shared<OXDeltaNode>();
  for (int i = 0; i < 3; ++i) {
    auto inner = std::make_shared<OXDeltaNode>();
    inner->addChild(std::make_shared<Watched>(&ended, nullptr));
    inner->addChild(std::make_shared<Watched>(&ended, nullptr));
    outer->addChild(std::make_shared<Watched>(&ended, inner));
  }
  outer.reset();
  EXPECT_EQ(ended, 9);
}

}  // namespace
