// The size of all that is in a folder.
//
// A path in the tree is the path of its folder, "/", and its name, all in a buffer of 1024 bytes
// with the terminator. A longer one is truncated to 1023 bytes, and the item at the truncated path
// counts in its place: none, or another item in the same folder. When that is a folder, its own
// path fills the buffer, so that every path below it is truncated to that same path again: all that
// it contains is itself, and its size is 0. That also bounds the depth.
//
// No paths are handed to the system here: the walk goes by descriptors, and lengths alone decide.

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/DirectoryReader.h"
#include "platform/files/Files.h"
#include "platform/files/Folder.h"

namespace ox {
namespace {

constexpr std::size_t longestPath = 1023;

// Room for "/" and one byte of a name. In a folder with a longer path, every path is truncated to
// the folder's own.
constexpr std::size_t longestFolderPath = longestPath - 2;

using EntryReader = DirectoryReader<16384>;

// Sizes are what file systems claim, so they may add up to more than there is room for.
void add(std::int64_t size, std::int64_t& total) noexcept {
  if (__builtin_add_overflow(total, size, &total)) {
    total = std::numeric_limits<std::int64_t>::max();
  }
}

class FolderWalk {
 public:
  FolderWalk(Folder top, std::size_t topLength) : topLength_(topLength) {
    open_[0].folder = std::move(top);
  }

  // Reads each folder to its end before those in it, so that it needs to stay open only for opening
  // them. Keeps the first 16 levels open. Deeper folders are opened by path from the 16th.
  std::int64_t total() {
    read(open_[0].folder, {});
    while (!pending_.empty()) {
      const Pending next = std::move(pending_.back());
      pending_.pop_back();
      const Open& above = open_[std::min(next.depth, maxOpen) - 1];
      const char* const name = next.path.c_str() + above.prefix;
      Folder folder;
      const int error = above.folder.openFolder(name, Folder::Access::list, folder);
      if (error == ENOTDIR) {
        addUnlessFolder(above.folder, name);  // no folder after all, or no longer
      } else if (error == 0) {
        read(folder, next);
        if (next.depth < maxOpen) {
          open_[next.depth] = {.folder = std::move(folder), .prefix = next.path.size() + 1};
        }
      }
    }
    return total_;
  }

 private:
  static constexpr std::size_t maxOpen = 16;

  struct Open {
    Folder folder;
    std::size_t prefix = 0;  // what of a pending path leads to this folder, with the "/" after it
  };
  struct Pending {
    std::string path;       // from the top folder
    std::size_t depth = 0;  // 1 in the top folder
  };

  // Adds what is in the folder, and leaves the folders in it pending.
  void read(const Folder& folder, const Pending& place) {
    const std::string prefix = place.path.empty() ? "" : place.path + '/';
    const std::size_t room = longestPath - (topLength_ + 1 + prefix.size());
    EntryReader reader(folder);
    while (const std::optional<DirectoryEntry> entry = reader.next()) {
      const std::string_view name(entry->name);
      if (name.size() > room) {
        addUnlessFolder(folder, std::string(name.substr(0, room)).c_str());
      } else if ((entry->type == DT_DIR || !addUnlessFolder(folder, entry->name)) &&
                 name.size() + longestPath - room <= longestFolderPath) {
        pending_.push_back({.path = prefix + entry->name, .depth = place.depth + 1});
      }
    }
  }

  // What cannot be asked about counts as nothing.
  bool addUnlessFolder(const Folder& folder, const char* name) noexcept {
    struct ::stat status;
    if (folder.statusOf(name, status) != 0) {
      return true;
    }
    const bool isFolder = S_ISDIR(status.st_mode);
    add(isFolder ? 0 : status.st_size, total_);
    return !isFolder;
  }

  std::size_t topLength_;
  std::int64_t total_ = 0;
  std::vector<Pending> pending_;    // the next one last
  std::array<Open, maxOpen> open_;  // by depth; those above the pending folders are valid
};

// Every path in the folder is truncated to one and the same, somewhere in the folder's own.
std::int64_t sizeBelowLongPath(const Folder& folder, std::string_view path) noexcept {
  const auto status = files::statusOfLink(PathBuffer(path.substr(0, longestPath)));
  std::int64_t total = 0;
  EntryReader reader(folder);
  while (status && !S_ISDIR(status->st_mode) && reader.next()) {
    add(status->st_size, total);
  }
  return total;
}

}  // namespace
}  // namespace ox

std::int64_t OXGetTotalFolderSize(OXStringView path) {
  if (!path) {
    return 0;
  }
  const ox::PathBuffer bytes(*path);
  return bytes.isRepresentable() ? _OXGetTotalFolderSize(bytes.c_str()) : 0;
}

std::int64_t _OXGetTotalFolderSize(const char* bytePath) {
  ox::Folder top;
  if (bytePath == nullptr ||
      ox::Folder::open(bytePath, ox::Folder::Access::list, ox::Folder::Links::follow, top) != 0) {
    return 0;
  }
  const std::string_view path(bytePath);
  if (path.size() > ox::longestPath) {
    return ox::sizeBelowLongPath(top, path);
  }
  const bool isShort = path.size() <= ox::longestFolderPath;
  return isShort ? ox::FolderWalk(std::move(top), path.size()).total() : 0;
}
