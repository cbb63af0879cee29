// SPDX-License-Identifier: MIT

#include "OxarchiveTest.h"

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace ox::test {

namespace fs = std::filesystem;

Tree treeOf(const std::string& folder) {
  Tree tree;
  for (const std::string& name : listing(folder)) {
    const fs::path path = fs::path(folder) / name;
    const fs::file_status status = fs::symlink_status(path);
    if (fs::is_symlink(status)) {
      tree[name] = "link to " + fs::read_symlink(path).string();
    } else if (fs::is_directory(status)) {
      tree[name] = "folder";
    } else {
      tree[name] = "file " + readFile(path.string());
    }
  }
  return tree;
}

Tree treeOf(const std::vector<Item>& items) {
  Tree tree;
  for (const Item& item : items) {
    std::string path = item.path;
    path.erase(path.find_last_not_of('/') + 1);
    for (std::size_t slash = path.find('/'); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
      tree.emplace(path.substr(0, slash), "folder");
    }
    if (!item.hardLink.empty()) {
      tree[path] = tree[item.hardLink];
    } else if (item.type == S_IFLNK) {
      tree[path] = "link to " + item.symbolicLink;
    } else {
      tree[path] = item.type == S_IFDIR ? "folder" : "file " + item.contents;
    }
  }
  return tree;
}

std::size_t bytesOf(const std::vector<Item>& items) {
  std::size_t sum = 0;
  for (const auto& [path, what] : treeOf(items)) {
    for (const std::string_view kind : {"file ", "link to "}) {
      sum += what.starts_with(kind) ? what.size() - kind.size() : 0;
    }
  }
  return sum;
}

std::vector<std::string> OxarchiveTest::names() const {
  std::vector<std::string> result;
  for (const auto& entry : fs::directory_iterator(work())) {
    result.push_back(entry.path().filename().string());
  }
  std::ranges::sort(result);
  return result;
}

void OxarchiveTest::remove(const std::vector<std::string>& names) const {
  for (const std::string& name : names) {
    EXPECT_TRUE(exists(in(name))) << name;
    removeTree(in(name));
  }
}

std::string OxarchiveTest::resultLine(const std::string& archive, const std::string& folder,
                                      std::size_t entries, std::size_t bytes) const {
  return in(archive) + " -> " + in(folder) + ": " + std::to_string(entries) +
         (entries == 1 ? " entry, " : " entries, ") +
         *OXHumanReadableFileSize(static_cast<std::int64_t>(bytes)) + "\n";
}

std::vector<Item> someItems() {
  return {folder("docs/"), file("docs/read me.txt", "hello\n"), file("docs/empty", ""),
          file("large.bin", noise(300'000)), file("z", "the end\n")};
}

}  // namespace ox::test
