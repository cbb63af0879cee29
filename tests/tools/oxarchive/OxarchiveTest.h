// What the tests of the program have in common.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "ArchiveWriter.h"
#include "Program.h"
#include "support/TemporaryFolder.h"

namespace ox::test {

// Everything below a folder: the path, and "folder", "link to TARGET", or a file's contents after
// "file ".
using Tree = std::map<std::string, std::string>;

Tree treeOf(const std::string& folder);

// What `items` make; folders that no item names are there as well.
Tree treeOf(const std::vector<Item>& items);

// The bytes of all files and links that `items` make, of a file once for each of its names.
std::size_t bytesOf(const std::vector<Item>& items);

class OxarchiveTest : public TemporaryFolderTest {
 protected:
  // The names in `work()`, without what is below them.
  std::vector<std::string> names() const;

  // Removes what is expected to be in `work()`, with everything below it; fails when it is not
  // there. What is left in the end fails the test.
  void remove(const std::vector<std::string>& names) const;

  // "ARCHIVE -> FOLDER: N entries, SIZE" and a line feed, both in `work()`.
  std::string resultLine(const std::string& archive, const std::string& folder, std::size_t entries,
                         std::size_t bytes) const;
};

// A folder, files in it, an empty one, one of several blocks, and a name with a space.
std::vector<Item> someItems();

}  // namespace ox::test
