// SPDX-License-Identifier: MIT

// Concurrent use of a tree.

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "OrvexKit/OXDeltaNode.h"
#include "support/AbortMessage.h"
#include "support/Emulator.h"
#include "support/Share.h"

namespace {

using Node = std::shared_ptr<OXDeltaNode>;

Node node(OXStringView name) {
  auto made = std::make_shared<OXDeltaNode>();
  made->setName(name);
  made->setPhysicalPath("/some/folder/on/disk");
  return made;
}

template <typename Action>
void onThreads(int count, Action action) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back(action, i);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(DeltaNodeThreads, AddToOneListTogether) {
  for (int round = 0; round < 50; ++round) {
    OXDeltaNode root;
    std::vector<const OXDeltaNode::List*> lists(4);
    onThreads(4, [&](int thread) {
      for (int i = 0; i < 50; ++i) {
        root.addChild(node("child"));
      }
      lists[static_cast<std::size_t>(thread)] = root.children().get();
    });
    EXPECT_EQ(root.children()->size(), 200U);
    EXPECT_EQ(lists, std::vector(4, std::as_const(root).children().get())) << "created only once";
  }
}

TEST(DeltaNodeThreads, WalkWhileNamesChangeAndOtherListsGrow) {
  const Node root = node("root");
  std::vector<Node> folders;
  for (int i = 0; i < 20; ++i) {
    folders.push_back(node("folder"));
    folders.back()->addChild(node("item"));
    root->addChild(folders.back());
  }
  const Node elsewhere = node("elsewhere");
  std::atomic<int> strange = 0;
  onThreads(4, [&](int thread) {
    for (int i = 0; i < 200; ++i) {
      if (thread == 0) {
        elsewhere->addChild(node("new"));
        folders[static_cast<std::size_t>(i) % folders.size()]->setName(
            i % 2 == 0 ? "a name that is kept on the heap" : "folder");
        continue;
      }
      root->traversePathsUsingBlock(
          [&](std::string_view relative, std::string_view disk, bool /*isFolder*/) {
            const std::string_view first = relative.substr(0, relative.find('/'));
            const bool known = first == "folder" || first == "a name that is kept on the heap";
            strange += known && disk.starts_with("/some/folder/on/disk/") ? 0 : 1;
          });
      static_cast<void>(root->childNamed("folder"));
    }
  });
  EXPECT_EQ(strange, 0);
  EXPECT_EQ(elsewhere->children()->size(), 200U);
  root->addChild(node("new"));
}

// Another thread adds children to a node before the walk reaches it.
TEST(DeltaNodeThreads, WalkTowardsAListThatGrows) {
  for (int round = 0; round < 200; ++round) {
    const Node root = node("root");
    const Node later = node("later");
    root->addChild(node("first"));
    root->addChild(later);
    std::atomic<bool> isAdding = false;
    std::atomic<bool> isDone = false;
    std::thread adder([&] {
      while (!isAdding) {
        std::this_thread::yield();
      }
      later->addChild(node("a"));
      later->addChild(node("b"));
      isDone = true;
    });
    std::size_t calls = 0;
    root->traversePathsUsingBlock(
        [&](std::string_view relative, std::string_view /*disk*/, bool /*isFolder*/) {
          ++calls;
          if (relative == "first") {
            isAdding = true;  // the walk continues to `later`, but not yet into it
          } else if (relative == "later") {
            while (!isDone) {
              std::this_thread::yield();
            }
          }
        });
    adder.join();
    EXPECT_TRUE(calls == 2 || calls == 4) << calls;
    EXPECT_EQ(later->children()->size(), 2U);
  }
}

TEST(DeltaNodeThreads, ReleaseTreesThatShareNodes) {
  for (int round = 0; round < 50; ++round) {
    Node shared = node("shared");
    shared->addChild(node("below"));
    const std::weak_ptr<OXDeltaNode> below = shared->children()->front();
    std::vector<Node> roots;
    for (int i = 0; i < 4; ++i) {
      roots.push_back(node("root"));
      roots.back()->addChild(shared);
    }
    shared.reset();
    onThreads(4, [&](int thread) { roots[static_cast<std::size_t>(thread)].reset(); });
    EXPECT_TRUE(below.expired());
  }
}

constexpr const char* addedWhileWalked =
    "OrvexKit: a child was added to a list of nodes that is being walked\n";

// Finding a name makes no callbacks, so it is not a walk.
TEST(DeltaNodeThreads, MayAddWhileOthersLookForAName) {
  OXDeltaNode root;
  root.addChild(node("first"));
  std::atomic<bool> isDone = false;
  std::vector<std::thread> searchers;
  searchers.reserve(3);
  for (int i = 0; i < 3; ++i) {
    searchers.emplace_back([&] {
      while (!isDone) {
        EXPECT_EQ(root.childNamed("missing"), nullptr);
        EXPECT_NE(root.childNamed("first"), nullptr);
      }
    });
  }
  for (int i = 0; i < ox::test::shareOf(2000, 4); ++i) {
    const std::string name = "child " + std::to_string(i);
    root.addChild(node(name));
    EXPECT_NE(root.childNamed(name), nullptr);
  }
  isDone = true;
  for (std::thread& searcher : searchers) {
    searcher.join();
  }
}

class DeltaNodeThreadsDeathTest : public testing::Test {
 protected:
  // A forked child does not have the parent's other threads.
  void SetUp() override { GTEST_FLAG_SET(death_test_style, ox::test::deathTestStyle); }
};

TEST_F(DeltaNodeThreadsDeathTest, AbortWhenAnotherThreadsWalkIsOnItsWay) {
  const auto addFromAnotherThread = [] {
    const Node root = node("root");
    root->addChild(node("a"));
    root->traversePathsUsingBlock(
        [&](std::string_view /*relative*/, std::string_view /*disk*/, bool /*isFolder*/) {
          std::thread([&] { root->addChild(node("new")); }).join();
        });
  };
  EXPECT_EXIT(addFromAnotherThread(), testing::KilledBySignal(SIGABRT),
              ox::test::abortMessage(addedWhileWalked));
}

}  // namespace
