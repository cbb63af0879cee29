// SPDX-License-Identifier: MIT

// The Trashes that an item may go to (freedesktop.org Trash 1.0).

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/files/Folder.h"

namespace ox {

// A mount's ID and a device. A bind mount has the device of what it shows, and a mount may have
// several devices; nothing can be renamed across either.
using Mount = std::pair<std::uint64_t, dev_t>;

// Where an item is, and where its Trashes are.
struct ItemPlace {
  std::string path;  // of the item's folder: absolute, without links
  std::string name;  // in the folder
  Folder folder;
  Identity item;

  // What `findTrashes` adds.
  std::vector<Folder> tops;  // the top folders of the mounts on the path, the item's mount last
  std::string topPath;       // the path of the last of them
  Mount mount;               // the item's mount
  std::string home;          // the path of the Trash in the user's data folder, or empty
};

// Returns false if the item is a Trash, is in one, or is on the path to the user's Trash, or if
// that cannot be determined.
bool findTrashes(ItemPlace& place);

enum class Trash {
  home,    // in the user's data folder, for items on the same mount
  shared,  // the user's own in ".Trash", which all users share, at the top of the item's mount
  own,     // the user's own ".Trash-UID" at the top of the item's mount
};

// An open Trash. The destructor removes empty folders that it created, unless they are kept.
class TrashFolder {
 public:
  TrashFolder() noexcept = default;
  TrashFolder(const TrashFolder&) = delete;
  TrashFolder& operator=(const TrashFolder&) = delete;
  ~TrashFolder();

  // Returns EXDEV if the item cannot go there, and ENOENT if somebody removes the Trash meanwhile.
  int open(Trash which, const ItemPlace& place);
  void keep() noexcept { made_.clear(); }

  const Folder& info() const noexcept { return info_; }    // the entries: where items came from
  const Folder& files() const noexcept { return files_; }  // the items

 private:
  int openMade(const Folder& parent, const std::string& name, Folder::Access access,
               std::optional<uid_t> owner, Folder& opened);
  int openHome(const ItemPlace& place, Folder& opened);
  int openAtTop(Trash which, const ItemPlace& place, Folder& opened);

  std::vector<std::pair<Folder, std::string>> made_;  // their parents and names
  Folder info_;
  Folder files_;
};

}  // namespace ox
