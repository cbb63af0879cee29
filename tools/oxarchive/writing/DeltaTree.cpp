#include "writing/DeltaTree.h"

#include <OrvexKit/OXFileUtil.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/EntryPath.h"
#include "system/Files.h"
#include "system/Interruption.h"

namespace oxarchive {
namespace {

// Reads the names in a folder, sorted. Returns 0 or the error.
int namesIn(const std::string& folder, std::vector<std::string>& names) {
  const FolderStream stream = openFolderStream(folder.c_str());
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

class TreeBuilder {
 public:
  // Adds the item called `name` in `folder`, and what is in it, to `parent`.
  void add(OXDeltaNode& parent, const std::string& folder, const std::string& name) {
    throwIfInterrupted();
    const auto node = std::make_shared<OXDeltaNode>();
    node->setName(name);
    node->setPhysicalPath(folder);
    const std::string path = node->fullPathOnDisk().value();
    struct ::stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
      tellUnreadable(path, errno);
      return;
    }
    const bool isFile = S_ISREG(status.st_mode);
    node->setIsFolder(S_ISDIR(status.st_mode));
    if (!isFile && !node->isFolder() && !S_ISLNK(status.st_mode)) {
      tree_.leftOut.push_back(printable(path) + ": devices, pipes and sockets are left out");
      return;
    }
    // Checked before packing, so that all obstacles are reported at once.
    if (isFile && ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) {
      tellUnreadable(path, errno);
      return;
    }
    tree_.bytes += isFile ? static_cast<std::uint64_t>(status.st_size) : 0;
    ++tree_.entries;
    parent.addChild(node);
    if (node->isFolder()) {
      addContents(*node, path);
    }
  }

  DeltaTree take() { return std::move(tree_); }
  OXDeltaNode& root() { return *tree_.root; }

 private:
  void addContents(OXDeltaNode& node, const std::string& folder) {
    std::vector<std::string> names;
    const int error = namesIn(folder, names);
    if (error != 0) {
      tellUnreadable(folder, error);
    }
    for (const std::string& name : names) {
      add(node, folder, name);
    }
  }

  void tellUnreadable(const std::string& path, int error) {
    tree_.unreadable.push_back(withSystemReason(printable(path) + " cannot be read", error));
  }

  DeltaTree tree_;
};

std::string withoutSlashesAtEnd(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) {
    path.pop_back();
  }
  return path;
}

}  // namespace

DeltaTree treeOfItems(const std::vector<std::string>& paths) {
  TreeBuilder builder;
  for (const std::string& given : paths) {
    std::string path = withoutSlashesAtEnd(given);
    if (nameOf(path) == "." || nameOf(path) == "..") {
      path = OXFileUtilAdditions::canonicalPath(path).value();
    }
    const std::string name(nameOf(path));
    if (name.empty() || name == "." || name == "..") {
      throw UsageError(printable(given) + " has no name in the archive");
    }
    if (builder.root().childNamed(name) != nullptr) {
      throw UsageError("two items would be called " + printable(name) + " in the archive");
    }
    builder.add(builder.root(), folderOf(path), name);
  }
  return builder.take();
}

}  // namespace oxarchive
