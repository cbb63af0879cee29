// SPDX-License-Identifier: MIT

#include "writing/DeltaTree.h"

#include <OrvexKit/OXFileUtil.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Files.h"
#include "system/Interruption.h"
#include "system/PathText.h"

namespace oxarchive {
namespace {

// Reads the names in a folder, sorted. Returns 0 or the error.
int namesIn(const std::string& folder, std::vector<std::string>& names) {
  const FolderStream stream = listFolder(AT_FDCWD, folder);
  if (!stream) {
    return errno;
  }
  while (const char* const name = nextName(stream)) {
    names.emplace_back(name);
  }
  const int error = errno;
  std::ranges::sort(names);
  return error;
}

void tellUnreadable(DeltaTree& tree, const std::string& path, int error) {
  tree.unreadable.push_back(withSystemReason(printable(path) + " cannot be read", error));
}

// Adds the item called `name` in `folder`, and what is in it, to `parent`.
void add(DeltaTree& tree, OXDeltaNode& parent, const std::string& folder, const std::string& name) {
  throwIfInterrupted();
  const auto node = std::make_shared<OXDeltaNode>();
  node->setName(name);
  node->setPhysicalPath(folder);
  const std::string path = node->fullPathOnDisk().value();
  struct ::stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return tellUnreadable(tree, path, errno);
  }
  const bool isFile = S_ISREG(status.st_mode);
  node->setIsFolder(S_ISDIR(status.st_mode));
  if (!isFile && !node->isFolder() && !S_ISLNK(status.st_mode)) {
    tree.leftOut.push_back(printable(path) + ": devices, pipes and sockets are left out");
    return;
  }
  // Checked before packing, so that all obstacles are reported at once.
  if (isFile && ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) {
    return tellUnreadable(tree, path, errno);
  }
  tree.bytes += isFile ? static_cast<std::uint64_t>(status.st_size) : 0;
  ++tree.entries;
  parent.addChild(node);
  std::vector<std::string> names;
  const int error = node->isFolder() ? namesIn(path, names) : 0;
  if (error != 0) {
    tellUnreadable(tree, path, error);
  }
  for (const std::string& each : names) {
    add(tree, *node, path, each);
  }
}

}  // namespace

DeltaTree treeOfItems(const std::vector<std::string>& paths) {
  DeltaTree tree;
  for (const std::string& given : paths) {
    std::string path = given.substr(0, std::max<std::size_t>(given.find_last_not_of('/') + 1, 1));
    if (nameOf(path) == "." || nameOf(path) == "..") {
      path = OXFileUtilAdditions::canonicalPath(path).value();
    }
    const std::string name(nameOf(path));
    if (name.empty() || name == "." || name == "..") {
      throw UsageError(printable(given) + " has no name in the archive");
    }
    if (tree.root->childNamed(name) != nullptr) {
      throw UsageError("two items would be called " + printable(name) + " in the archive");
    }
    add(tree, *tree.root, folderOf(path), name);
  }
  return tree;
}

}  // namespace oxarchive
