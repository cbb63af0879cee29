// The Trashes that an item may go to (freedesktop.org Trash 1.0).

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/files/Folder.h"

namespace ox {

// Which file system a folder is on, and by which way. A bind mount has the device of what it shows,
// and a mount may have several devices: nothing can be renamed across either.
struct MountPart {
  std::uint64_t mount = 0;
  dev_t device = 0;

  bool operator==(const MountPart&) const = default;
};

// Where an item is, and where its Trashes are.
struct ItemPlace {
  std::string path;  // of the item's folder: absolute, without links
  std::string name;  // in the folder
  Folder folder;
  Identity item;

  // What `findTrashes` adds.
  MountPart mount;      // that the folder is on
  Folder top;           // of the mount
  std::string topPath;  // of that
  std::string home;     // the path of the Trash in the user's data folder; empty without one
};

// False when the item is in a Trash, or is one, or the path of the user's Trash leads through it,
// or nobody knows.
bool findTrashes(ItemPlace& place);

// Opens folders, and makes those that are missing. Those made are removed again, if they are still
// empty, unless they are kept.
class MadeFolders {
 public:
  MadeFolders() noexcept = default;
  MadeFolders(const MadeFolders&) = delete;
  MadeFolders& operator=(const MadeFolders&) = delete;
  ~MadeFolders();

  // ENOENT only when somebody removes `parent`, or the folder, meanwhile. EPERM when there is an
  // `owner` and the folder belongs to somebody else.
  int open(const Folder& parent, const std::string& name, Folder::Access access,
           std::optional<uid_t> owner, Folder& opened);
  void keep() noexcept { made_.clear(); }

 private:
  std::vector<std::pair<Folder, std::string>> made_;  // in which folder, and the name
};

struct TrashFolder {
  MadeFolders made;
  Folder info;   // says where each item came from, and when
  Folder files;  // the items

  // The folder that the paths in `info` start in, with a "/" at the end; empty for absolute ones.
  std::string top;
};

enum class Trash {
  home,    // in the user's data folder, for items on the same mount
  shared,  // the user's own in ".Trash", which is for all users, at the top of the item's mount
  own,     // the user's own at the top of the item's mount
};

// Opens a Trash, which is made when it is missing. ENOENT when somebody removes it meanwhile, and
// EXDEV when the item cannot go there.
int openTrash(Trash which, const ItemPlace& place, TrashFolder& trash);

}  // namespace ox
