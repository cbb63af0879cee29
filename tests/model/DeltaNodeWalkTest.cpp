// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>

#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvexKit/OXDeltaNode.h"
#include "model/Nodes.h"
#include "support/AbortMessage.h"
#include "support/AllocationCount.h"

namespace {

using ox::test::Node;
using ox::test::node;

Node folder(OXStringView name, OXStringView physicalPath, const std::vector<Node>& children) {
  Node made = node(name, physicalPath, children);
  made->setIsFolder(true);
  return made;
}

struct Report {
  std::string relative;
  std::string disk;
  bool isFolder;

  friend bool operator==(const Report&, const Report&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Report& report) {
    return out << report.relative << " <- " << report.disk << (report.isFolder ? "/" : "");
  }
};

using Reports = std::vector<Report>;

Reports walk(const OXDeltaNode& root) {
  Reports reports;
  root.traversePathsUsingBlock(
      [&](std::string_view relative, std::string_view disk, bool isFolder) {
        reports.push_back({std::string(relative), std::string(disk), isFolder});
      });
  return reports;
}

struct WalkRow {
  const char* name;
  std::vector<Node> children;
  Reports reports;
};

TEST(DeltaNodeWalk, ReportsWhatHasAPlaceOnDisk) {
  const WalkRow rows[] = {
      {"nothing", {}, {}},
      {"an item and what is in it",
       {folder("A", "/src", {node("B", "/src/A")})},
       {{"A", "/src/A", true}, {"A/B", "/src/A/B", false}}},
      {"a folder of the archive alone",
       {folder("X", std::nullopt, {node("F", "/d")})},
       {{"X/F", "/d/F", false}}},
      {"two such folders",
       {folder("X", std::nullopt, {folder("Y", std::nullopt, {node("F", "/d")})})},
       {{"X/Y/F", "/d/F", false}}},
      {"one at the very bottom", {folder("X", std::nullopt, {})}, {}},
      {"siblings in order, depth first",
       {folder("b", "/", {node("2", "/b"), folder("1", "/b", {node("x", "/b/1")})}),
        node("a", "/")},
       {{"b", "/b", true},
        {"b/2", "/b/2", false},
        {"b/1", "/b/1", true},
        {"b/1/x", "/b/1/x", false},
        {"a", "/a", false}}},
      {"places on disk that have nothing to do with each other",
       {folder("docs", "/home/me", {node("logo.png", "/usr/share"), node("a", "relative/")})},
       {{"docs", "/home/me/docs", true},
        {"docs/logo.png", "/usr/share/logo.png", false},
        {"docs/a", "relative/a", false}}},
      {"the same name twice",
       {node("a", "/1"), node("a", "/2")},
       {{"a", "/1/a", false}, {"a", "/2/a", false}}},
      {"an empty physical path", {node("a", "")}, {{"a", "a", false}}},

      {"a nameless item", {node(std::nullopt, "/d")}, {}},
      {"what is below a nameless item",
       {folder(std::nullopt, "/d", {node("F", "/d"), folder("G", "/d", {node("H", "/d/G")})})},
       {{"F", "/d/F", false}, {"G", "/d/G", true}, {"G/H", "/d/G/H", false}}},
      {"a nameless folder amid a path",
       {folder("A", "/", {folder(std::nullopt, std::nullopt, {node("F", "/d")}), node("B", "/A")})},
       {{"A", "/A", true}, {"A/F", "/d/F", false}, {"A/B", "/A/B", false}}},
      {"an empty name",
       {folder("", "/d", {node("F", "/d")}), folder("A", "/d", {node("", "/d/A")})},
       {{"", "/d", true}, {"F", "/d/F", false}, {"A", "/d/A", true}, {"A", "/d/A", false}}},

      {"slashes at the end of names",
       {folder("a//", "/", {node("b", "/a"), node("", "/a"), node("c/", "/a"), node("/", "/a")}),
        node("d", "/")},
       {{"a//", "/a//", true},
        {"a/b", "/a/b", false},
        {"a//", "/a", false},
        {"a/c/", "/a/c/", false},
        {"a//", "/a", false},
        {"d", "/d", false}}},
      {"nothing but slashes",
       {folder("//", "/s", {node("a", "/"), folder("", "/", {node("b", "/")}), node("/c", "/")}),
        node("/e", "/")},
       {{"//", "/s", true},
        {"/a", "/a", false},
        {"//", "/", true},
        {"/b", "/b", false},
        {"/c", "/c", false},
        {"/e", "/e", false}}},
      {"names that hold paths",
       {folder("a/b", "/s", {node("../c", "/s")})},
       {{"a/b", "/s/a/b", true}, {"a/b/../c", "/s/../c", false}}},
      {"bytes that are not UTF-8", {node("\xff", "/\xfe")}, {{"\xff", "/\xfe/\xff", false}}},
  };
  for (const WalkRow& row : rows) {
    SCOPED_TRACE(row.name);
    const Node root = node("root", "/never/reported", row.children);
    root->setIsFolder(true);
    EXPECT_EQ(walk(*root), row.reports);
    EXPECT_EQ(walk(*root), row.reports) << "again";
    EXPECT_EQ(walk(*node(std::nullopt, std::nullopt, row.children)), row.reports);
  }
}

TEST(DeltaNodeWalk, ReportsANodeAtEachOfItsPlaces) {
  const Node shared = folder("s", "/", {node("t", "/s")});
  const Node root = node("root", std::nullopt, {folder("a", "/", {shared}), shared, shared});
  EXPECT_EQ(walk(*root), (Reports{{"a", "/a", true},
                                  {"a/s", "/s", true},
                                  {"a/s/t", "/s/t", false},
                                  {"s", "/s", true},
                                  {"s/t", "/s/t", false},
                                  {"s", "/s", true},
                                  {"s/t", "/s/t", false}}));
}

TEST(DeltaNodeWalk, CallsNothingForAnEmptyCallback) {
  const Node root = node("root", std::nullopt, {node("a", "/")});
  root->traversePathsUsingBlock(nullptr);
  root->traversePathsUsingBlock(OXDeltaNode::TraversalCallback());
}

// A change that a callback makes while its node is reported.
TEST(DeltaNodeWalk, TakesTheListOfANodeBeforeItReportsIt) {
  const Node withList = folder("with", "/", {node("old", "/")});
  const Node withoutList = folder("without", "/", {});
  const Node root = node("root", std::nullopt, {withList, withoutList});
  Reports reports;
  root->traversePathsUsingBlock(
      [&](std::string_view relative, std::string_view disk, bool isFolder) {
        reports.push_back({std::string(relative), std::string(disk), isFolder});
        if (relative == "with") {
          withList->addChild(node("new", "/"));
        } else if (relative == "without") {
          withoutList->addChild(node("first", "/"));
        }
      });
  EXPECT_EQ(reports, (Reports{{"with", "/with", true},
                              {"with/old", "/old", false},
                              {"with/new", "/new", false},
                              {"without", "/without", true}}));
  EXPECT_EQ(walk(*root).back(), (Report{"without/first", "/first", false}));
}

TEST(DeltaNodeWalk, LetsListsGrowThatNoWalkIsOnItsWayThrough) {
  const Node done = folder("done", "/", {node("1", "/")});
  const Node later = folder("later", "/", {node("1", "/")});
  const Node elsewhere = node("elsewhere", "/", {node("1", "/")});
  const Node root = node("root", std::nullopt, {done, node("here", "/"), later});
  root->traversePathsUsingBlock(
      [&](std::string_view relative, std::string_view /*disk*/, bool /*isFolder*/) {
        if (relative == "here") {
          done->addChild(node("2", "/"));
          later->addChild(node("2", "/"));
          elsewhere->addChild(node("2", "/"));
        }
      });
  EXPECT_EQ(done->children()->size(), 2U);
  EXPECT_EQ(later->children()->size(), 2U);
  EXPECT_EQ(elsewhere->children()->size(), 2U);
}

TEST(DeltaNodeWalk, SeesTheNamesThatNodesHaveWhenItComesToThem) {
  const Node second = node("second", "/");
  const Node root = node("root", std::nullopt, {node("first", "/"), second});
  std::vector<std::string> seen;
  root->traversePathsUsingBlock(
      [&](std::string_view relative, std::string_view /*disk*/, bool /*isFolder*/) {
        seen.emplace_back(relative);
        second->setName("renamed");
      });
  EXPECT_EQ(seen, (std::vector<std::string>{"first", "renamed"}));
}

TEST(DeltaNodeWalk, MayBeginInsideAnother) {
  const Node root =
      node("root", std::nullopt, {folder("a", "/", {node("b", "/")}), node("c", "/")});
  const Reports all = walk(*root);
  int inner = 0;
  root->traversePathsUsingBlock(
      [&](std::string_view /*relative*/, std::string_view /*disk*/, bool /*isFolder*/) {
        EXPECT_EQ(walk(*root), all);
        EXPECT_NE(root->childNamed("c"), nullptr);
        ++inner;
      });
  EXPECT_EQ(inner, 3);
  root->addChild(node("d", "/"));
  EXPECT_EQ(walk(*root).size(), 4U);
}

TEST(DeltaNodeWalk, EndsWithWhatTheCallbackThrows) {
  const Node child = folder("a", "/", {node("b", "/"), node("c", "/")});
  const Node root = node("root", std::nullopt, {child, node("d", "/")});
  int calls = 0;
  const auto throwAtTheSecond = [&](std::string_view /*relative*/, std::string_view /*disk*/,
                                    bool /*isFolder*/) {
    if (++calls == 2) {
      throw std::runtime_error("enough");
    }
  };
  EXPECT_THROW(root->traversePathsUsingBlock(throwAtTheSecond), std::runtime_error);
  EXPECT_EQ(calls, 2);
  root->addChild(node("e", "/"));  // no list counts as being walked any more
  child->addChild(node("f", "/"));
  EXPECT_EQ(walk(*root).size(), 6U);
}

TEST(DeltaNodeWalk, LeavesNoListWalkedWhenMemoryRunsOut) {
  const std::string longName(200, 'n');
  const Node child = folder(longName, "/", {node("b", "/")});
  const Node root = node("root", std::nullopt, {child});
  const auto ignore = [](std::string_view /*relative*/, std::string_view /*disk*/,
                         bool /*isFolder*/) {};
  const OXDeltaNode::TraversalCallback callback = ignore;
  std::size_t failures = 0;
  for (bool done = false; !done;) {
    const ox::test::AllocationFailure failure(failures);
    try {
      root->traversePathsUsingBlock(callback);
      done = true;
    } catch (const std::bad_alloc&) {
      ++failures;
    }
  }
  EXPECT_GE(failures, 3U);
  root->addChild(node("c", "/"));
  child->addChild(node("d", "/"));
  EXPECT_EQ(walk(*root).size(), 4U);
}

TEST(DeltaNodeWalk, KeepsWhatItWalksAlive) {
  Node root = node("root", std::nullopt,
                   {folder("a", "/", {folder("b", "/", {node("c", "/")})}), node("d", "/")});
  const std::weak_ptr<OXDeltaNode> weakRoot = root;
  std::vector<std::string> seen;
  root->traversePathsUsingBlock(
      [&](std::string_view relative, std::string_view /*disk*/, bool /*isFolder*/) {
        root.reset();
        EXPECT_TRUE(weakRoot.expired());
        seen.emplace_back(relative);
      });
  EXPECT_EQ(seen, (std::vector<std::string>{"a", "a/b", "a/b/c", "d"}));
}

// A tree of `width` folders with `width` items each.
Node square(int width) {
  Node root = node("root");
  for (int i = 0; i < width; ++i) {
    const Node inner = folder("folder " + std::to_string(1000 + i), "/some/folder/on/disk", {});
    for (int j = 0; j < width; ++j) {
      inner->addChild(node("an item of the tree " + std::to_string(1000 + j), "/some/folder"));
    }
    root->addChild(inner);
  }
  return root;
}

TEST(DeltaNodeWalk, TakesNoMoreFromTheHeapForMoreNodes) {
  const Node small = square(3);
  const Node large = square(60);
  std::size_t calls = 0;
  const OXDeltaNode::TraversalCallback count =
      [&](std::string_view /*relative*/, std::string_view /*disk*/, bool /*isFolder*/) { ++calls; };
  const ox::test::AllocationCount forSmall;
  small->traversePathsUsingBlock(count);
  const std::size_t taken = forSmall.count();
  EXPECT_EQ(calls, 12U);
  const ox::test::AllocationCount forLarge;
  large->traversePathsUsingBlock(count);
  EXPECT_EQ(forLarge.count(), taken);
  EXPECT_EQ(calls, 12U + 3660U);
  EXPECT_LE(taken, 8U) << "two paths and the levels, grown a few times";
}

// Runs `action` on a thread whose stack is too small for recursion along a chain.
void onASmallStack(std::function<void()> action) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{256} * 1024), 0);
  const auto run = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &action), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(pthread_attr_destroy(&attributes), 0);
}

constexpr std::size_t length = 200'000;

TEST(DeltaNodeWalk, WalksAndReleasesAVeryLongChain) {
  onASmallStack([] {
    Node chain = node("n", "/");
    const std::weak_ptr<OXDeltaNode> bottom = chain;
    for (std::size_t i = 1; i < length; ++i) {
      chain = node("n", "/", {chain});
    }
    std::size_t calls = 0;
    std::size_t longest = 0;
    node("root", std::nullopt, {chain})
        ->traversePathsUsingBlock(
            [&](std::string_view relative, std::string_view /*disk*/, bool /*isFolder*/) {
              ++calls;
              longest = relative.size();
            });
    EXPECT_EQ(calls, length);
    EXPECT_EQ(longest, 2 * length - 1);
    EXPECT_FALSE(bottom.expired());
    chain.reset();
    EXPECT_TRUE(bottom.expired());
  });
}

TEST(DeltaNodeWalk, ReleasesATreeOfEveryShape) {
  Node root = square(30);
  const std::weak_ptr<OXDeltaNode> item = root->children()->back()->children()->front();
  const Node kept = root->children()->front();
  root.reset();
  EXPECT_TRUE(item.expired());
  EXPECT_EQ(kept->children()->size(), 30U) << "a node with another owner keeps its children";
}

constexpr const char* addedWhileWalked =
    "OrvexKit: a child was added to a list of nodes that is being walked\n";
constexpr const char* belowItself =
    "OrvexKit: a node is below itself in the tree that is being walked\n";

// Walks `root`, and adds a child to `parent` when `path` is reported.
void addDuringWalk(const OXDeltaNode& root, OXDeltaNode& parent, std::string_view path) {
  root.traversePathsUsingBlock(
      [&](std::string_view relative, std::string_view /*disk*/, bool /*isFolder*/) {
        if (relative == path) {
          parent.addChild(node("new", "/"));
        }
      });
}

class DeltaNodeWalkDeathTest : public testing::Test {
 protected:
  const Node b = folder("b", "/", {node("c", "/")});
  const Node a = folder("a", "/", {b, node("d", "/")});
  const Node root = node("root", std::nullopt, {a});
};

void expectAborted(const std::function<void()>& action, const char* line) {
  EXPECT_EXIT(action(), testing::KilledBySignal(SIGABRT), ox::test::abortMessage(line));
}

TEST_F(DeltaNodeWalkDeathTest, AbortsWhenAListOnItsWayGrows) {
  const struct {
    OXDeltaNode& parent;
    const char* path;
  } rows[] = {
      {*root, "a"}, {*root, "a/b"}, {*root, "a/b/c"}, {*root, "a/d"},
      {*a, "a/b"},  {*a, "a/b/c"},  {*a, "a/d"},      {*b, "a/b/c"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << *row.parent.name() << " at " << row.path);
    expectAborted([&] { addDuringWalk(*root, row.parent, row.path); }, addedWhileWalked);
  }
}

TEST_F(DeltaNodeWalkDeathTest, StillCountsTheOuterWalkAfterAnInnerOne) {
  expectAborted(
      [&] {
        root->traversePathsUsingBlock(
            [&](std::string_view /*relative*/, std::string_view /*disk*/, bool /*isFolder*/) {
              walk(*root);
              static_cast<void>(root->childNamed("a"));
              root->addChild(node("new", "/"));
            });
      },
      addedWhileWalked);
}

// Cycles are created in the process that dies in them, since they cannot be released.
TEST_F(DeltaNodeWalkDeathTest, AbortsBeforeItWouldWalkRoundACircle) {
  const std::function<void()> circles[] = {
      [] {
        const Node self = node("self", "/");
        self->addChild(self);
        walk(*self);
      },
      [&] {
        b->addChild(root);
        walk(*root);
      },
      [&] {
        b->addChild(a);
        walk(*root);
      },
      [&] {  // a long path to a cycle of three, past other nodes
        b->addChild(root);
        Node way = root;
        for (int i = 0; i < 1000; ++i) {
          way = node("way", std::nullopt, {node("aside", "/"), way});
        }
        walk(*way);
      },
      [&] {  // a short path to a long cycle
        Node way = root;
        for (int i = 0; i < 1000; ++i) {
          way = node("way", "/", {node("aside", "/"), way});
        }
        b->addChild(way);
        walk(*a);
      },
  };
  for (const std::function<void()>& circle : circles) {
    SCOPED_TRACE(&circle - circles);
    expectAborted(circle, belowItself);
  }
}

// Walks down `way` nodes into a cycle of `round` nodes, whose first node is reported in each round.
void walkIntoCircle(std::size_t way, std::size_t round) {
  const Node first = node("first", "/");
  Node last = first;
  for (std::size_t i = 1; i < round; ++i) {
    const Node next = node("next");
    last->addChild(next);
    last = next;
  }
  last->addChild(first);
  Node start = node("start", std::nullopt, {first});
  for (std::size_t i = 0; i < way; ++i) {
    start = node("way", std::nullopt, {start});
  }
  int rounds = 0;
  start->traversePathsUsingBlock(
      [&](std::string_view /*relative*/, std::string_view /*disk*/, bool /*isFolder*/) {
        if (++rounds > 2) {
          ::_exit(1);
        }
      });
}

TEST_F(DeltaNodeWalkDeathTest, AbortsAfterTwoRoundsWhateverTheWayToACircle) {
  const std::pair<std::size_t, std::size_t> rows[] = {
      {0, 1},      {1, 1},    {2, 1},    {63, 1},  {1000, 1}, {131071, 1}, {131071, 2},
      {131070, 3}, {0, 2},    {0, 3},    {5, 7},   {6, 7},    {7, 7},      {8, 7},
      {65, 63},    {100, 64}, {100, 65}, {127, 1}, {1023, 5}, {1, 1000},   {2000, 129}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.second << " after " << row.first);
    expectAborted([&row] { walkIntoCircle(row.first, row.second); }, belowItself);
  }
}

}  // namespace
