// SPDX-License-Identifier: MIT

// The common fixture of the program's tests.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "ArchiveWriter.h"
#include "Program.h"
#include "support/TemporaryFolder.h"

namespace ox::test {

// Everything below a folder: the path, and "folder", "link to TARGET", or "file " with the
// contents.
using Tree = std::map<std::string, std::string>;

Tree treeOf(const std::string& folder);

// The tree that `items` make, including parents that are not items.
Tree treeOf(const std::vector<Item>& items);

// The total bytes of all files and links in `items`; hard links count each time.
std::size_t bytesOf(const std::vector<Item>& items);

class OxarchiveTest : public TemporaryFolderTest {
 protected:
  // The names in `work()`, not recursive.
  std::vector<std::string> names() const;

  // Removes the expected items in `work()` recursively; fails if one is missing. Anything left at
  // the end fails the test.
  void remove(const std::vector<std::string>& names) const;

  // "ARCHIVE -> FOLDER: N entries, SIZE" and a line feed, both in `work()`.
  std::string resultLine(const std::string& archive, const std::string& folder, std::size_t entries,
                         std::size_t bytes) const;
};

// A folder, files in it, an empty one, one of several blocks, and a name with a space.
std::vector<Item> someItems();

}  // namespace ox::test
