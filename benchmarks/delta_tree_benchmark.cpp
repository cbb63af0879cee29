// SPDX-License-Identifier: MIT

// The walk of a tree of items to archive, compared with the same walk over `std::filesystem::path`.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Comparison.h"
#include "OrvexKit/OXDeltaNode.h"

namespace {

using namespace ox;
namespace fs = std::filesystem;

// The trees -----------------------------------------------------------------------------------

constexpr std::size_t nodeCount = 1'000'000;
constexpr std::size_t childrenPerFolder = 10;

std::string nameOf(std::size_t number, bool isFolder) {
  return isFolder ? "folder_" + std::to_string(number)
                  : "IMG_20240501_" + std::to_string(number) + ".jpg";
}

std::shared_ptr<OXDeltaNode> makeNode(const std::string& name, const std::string& physicalPath,
                                      bool isFolder) {
  auto node = std::make_shared<OXDeltaNode>();
  node->setName(name);
  node->setPhysicalPath(physicalPath);
  node->setIsFolder(isFolder);
  return node;
}

// In level order: node 0 is the root, and node n has the children 10 n + 1 to 10 n + 10, as far as
// they exist.
std::shared_ptr<OXDeltaNode> makeTree() {
  std::vector<std::shared_ptr<OXDeltaNode>> nodes{std::make_shared<OXDeltaNode>()};
  std::vector<std::string> paths{"/home/user/Pictures"};
  nodes.reserve(nodeCount + 1);
  for (std::size_t number = 1; number <= nodeCount; ++number) {
    const std::size_t parent = (number - 1) / childrenPerFolder;
    const bool isFolder = number * childrenPerFolder + 1 <= nodeCount;
    const std::string name = nameOf(number, isFolder);
    if (isFolder) {
      paths.push_back(paths[parent] + '/' + name);
    }
    nodes.push_back(makeNode(name, paths[parent], isFolder));
    nodes[parent]->addChild(nodes.back());
  }
  return nodes.front();
}

// The peer's paths are made beforehand, which is its best case.
struct PathNode {
  fs::path name;
  fs::path physicalPath;
  bool isFolder = false;
  std::vector<std::unique_ptr<PathNode>> children;
};

std::unique_ptr<PathNode> pathNodeOf(const OXDeltaNode& node) {
  auto made = std::make_unique<PathNode>();
  made->name = node.name().value_or("");
  made->physicalPath = node.physicalPath().value_or("");
  made->isFolder = node.isFolder();
  if (const auto children = node.children()) {
    made->children.reserve(children->size());
    for (const std::shared_ptr<OXDeltaNode>& child : *children) {
      made->children.push_back(pathNodeOf(*child));
    }
  }
  return made;
}

using PathCallback =
    std::function<void(const fs::path& relative, const fs::path& disk, bool isFolder)>;

void walkPaths(const fs::path& prefix, const PathNode& parent, const PathCallback& callback) {
  for (const std::unique_ptr<PathNode>& node : parent.children) {
    const fs::path relative = prefix / node->name;
    callback(relative, node->physicalPath / node->name, node->isFolder);
    walkPaths(relative, *node, callback);
  }
}

const OXDeltaNode& tree() {
  static const std::shared_ptr<OXDeltaNode> made = makeTree();
  return *made;
}

const PathNode& pathTree() {
  static const std::unique_ptr<PathNode> made = pathNodeOf(tree());
  return *made;
}

// The walks -----------------------------------------------------------------------------------

// A checksum of what was reported, to check that both walks report the same.
class Report {
 public:
  void add(std::string_view relative, std::string_view disk, bool isFolder) {
    const std::hash<std::string_view> hash;
    digest_ = digest_ * 31 + hash(relative);
    digest_ = digest_ * 31 + hash(disk) + (isFolder ? 1 : 0);
    ++count_;
  }
  friend bool operator==(const Report&, const Report&) = default;
  std::size_t count() const { return count_; }

 private:
  std::size_t digest_ = 0;
  std::size_t count_ = 0;
};

bool walksAreSame() {
  Report ours;
  tree().traversePathsUsingBlock([&](std::string_view relative, std::string_view disk,
                                     bool isFolder) { ours.add(relative, disk, isFolder); });
  Report theirs;
  walkPaths({}, pathTree(), [&](const fs::path& relative, const fs::path& disk, bool isFolder) {
    theirs.add(relative.native(), disk.native(), isFolder);
  });
  return ours == theirs && ours.count() == nodeCount;
}

void walk(benchmark::State& state) {
  const OXDeltaNode& root = tree();
  std::size_t total = 0;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    root.traversePathsUsingBlock([&](std::string_view relative, std::string_view disk, bool) {
      total += relative.size() + disk.size();
    });
  }
  benchmark::DoNotOptimize(total);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(nodeCount));
}

void walkOverPaths(benchmark::State& state) {
  static const bool isRight = walksAreSame();
  if (!isRight) {
    state.SkipWithError("another report");
    return;
  }
  const PathNode& root = pathTree();
  std::size_t total = 0;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    walkPaths({}, root, [&](const fs::path& relative, const fs::path& disk, bool) {
      total += relative.native().size() + disk.native().size();
    });
  }
  benchmark::DoNotOptimize(total);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(nodeCount));
  bench::wantTimesAsFast(state, 8);
}

BENCHMARK(walk)->Name("traversePathsUsingBlock of 1,000,000 nodes/ours");
BENCHMARK(walkOverPaths)->Name("traversePathsUsingBlock of 1,000,000 nodes/std_filesystem");

}  // namespace
