// The Trashes that an item may go to (freedesktop.org Trash 1.0).

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/files/Folder.h"

namespace ox {

// The number of a mount, and a device on it: a bind mount has the device of what it shows, and a
// mount may have several devices. Nothing can be renamed across either.
using Mount = std::pair<std::uint64_t, dev_t>;

// Where an item is, and where its Trashes are.
struct ItemPlace {
  std::string path;  // of the item's folder: absolute, without links
  std::string name;  // in the folder
  Folder folder;
  Identity item;

  // What `findTrashes` adds.
  Mount mount;          // that the folder is on
  Folder top;           // of the mount
  std::string topPath;  // of that
  std::string home;     // the path of the Trash in the user's data folder; empty without one
};

// False when the item is in a Trash, or is one, or the path of the user's Trash leads through it,
// or nobody knows.
bool findTrashes(ItemPlace& place);

enum class Trash {
  home,    // in the user's data folder, for items on the same mount
  shared,  // the user's own in ".Trash", which is for all users, at the top of the item's mount
  own,     // the user's own at the top of the item's mount
};

// A Trash that is open. The folders that were made for it are removed again, if they are still
// empty, unless they are kept.
class TrashFolder {
 public:
  TrashFolder() noexcept = default;
  TrashFolder(const TrashFolder&) = delete;
  TrashFolder& operator=(const TrashFolder&) = delete;
  ~TrashFolder();

  // ENOENT when somebody removes it meanwhile, and EXDEV when the item cannot go there.
  int open(Trash which, const ItemPlace& place);
  void keep() noexcept { made_.clear(); }

  const Folder& info() const noexcept { return info_; }    // says where each item came from
  const Folder& files() const noexcept { return files_; }  // the items

 private:
  int openMade(const Folder& parent, const std::string& name, Folder::Access access,
               std::optional<uid_t> owner, Folder& opened);
  int openHome(const ItemPlace& place, Folder& opened);
  int openAtTop(Trash which, const ItemPlace& place, Folder& opened);

  std::vector<std::pair<Folder, std::string>> made_;  // in which folder, and the name
  Folder info_;
  Folder files_;
};

}  // namespace ox
