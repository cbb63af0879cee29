// The Trashes that an item may go to (freedesktop.org Trash 1.0).

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/files/Folder.h"

namespace ox {

struct ItemPlace {
  std::string path;  // of the item's folder: absolute, without links
  std::string name;  // in the folder
  Folder folder;
  Identity item;
};

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

// The way from an item up to the root, and the Trashes that the item may go to.
class ItemWay {
 public:
  enum class Trash {
    home,    // in the user's data folder, for items on the same mount
    shared,  // the user's own in ".Trash", which is for all users, at the top of the item's mount
    own,     // the user's own at the top of the item's mount
  };

  // To be called first, and once. EBUSY when the item is in a Trash on its way, or is one, or the
  // path of the user's Trash leads through it.
  int follow(const ItemPlace& place);

  // Opens a Trash, which is made when it is missing. ENOENT when somebody removes it meanwhile.
  int open(Trash which, TrashFolder& trash) const;

 private:
  struct Spot {
    Identity identity;
    std::uint64_t mount = 0;
  };

  static int look(const Folder& folder, Spot& spot) noexcept;
  static bool isSameMount(const Spot& a, const Spot& b) noexcept;
  int reachTop(Folder top, const std::string& path);
  bool passes(const Folder& folder, const std::string& name) const noexcept;
  bool passesTrashAt(const Folder& top) const;
  bool isOnWayTo(std::string rest) const;
  bool passesHomeTrash() const;
  int openHome(MadeFolders& made, Folder& opened) const;
  int openAtTop(Trash which, MadeFolders& made, Folder& opened) const;

  std::vector<Identity> passed_;  // the item, and the folders from its own up to the root
  Spot first_;                    // the item's folder
  Folder top_;                    // of the mount that it is on
  std::string topPath_;
  std::string home_;  // the path of the Trash in the user's data folder; empty without one
  std::string user_;  // the user's number
};

}  // namespace ox
