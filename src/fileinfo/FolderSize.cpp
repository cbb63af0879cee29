// SPDX-License-Identifier: MIT

// The size of a folder tree. A path longer than 1023 bytes is truncated, and the item at the
// truncated path counts instead: none, or another item in the same folder. A folder whose path
// leaves no room for "/" and a byte of a name counts as 0, because each path in it is truncated to
// its own; that also bounds the depth. The walk goes by descriptors and only computes path lengths.

#include "OrvexKit/OXFileUtil.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/files/DirectoryReader.h"
#include "platform/files/Files.h"
#include "platform/files/Folder.h"

namespace ox {
namespace {

constexpr std::size_t longestPath = 1023;
constexpr std::size_t longestFolderPath = longestPath - 2;  // room for "/" and one byte of a name

// File systems may report any sizes, so the sum is limited instead of overflowing.
void add(std::int64_t size, std::int64_t& total) noexcept {
  if (__builtin_add_overflow(total, size, &total)) {
    total = INT64_MAX;
  }
}

// Reads a folder to its end before its subfolders, and keeps it open only to open those. Keeps the
// first 15 levels open; deeper folders are opened by path from the 15th.
class FolderWalk {
 public:
  FolderWalk(Folder top, std::size_t topLength) : topLength_(topLength) {
    open_[0].folder = std::move(top);
    read(open_[0].folder, {});
    while (!pending_.empty()) {
      const Pending place = std::move(pending_.back());
      pending_.pop_back();
      const Open& above = open_[std::min(place.depth, maxOpen) - 1];
      Open& here = open_[std::min(place.depth, maxOpen)];
      const char* const name = place.path.c_str() + above.prefix;
      here.folder = above.folder.openFolder(name, Folder::Access::list);
      if (here.folder.error() == ENOTDIR) {
        isFolderElseAdd(above.folder, name);  // not a folder, or no longer one
      } else if (here.folder.isOpen()) {
        here.prefix = place.path.size() + 1;
        read(here.folder, place);
      }
    }
  }

  std::int64_t total() const noexcept { return total_; }

 private:
  static constexpr std::size_t maxOpen = 15;

  struct Open {
    Folder folder;
    std::size_t prefix = 0;  // the length of its path from the top folder, with a "/" at the end
  };
  struct Pending {
    std::string path;       // from the top folder
    std::size_t depth = 0;  // 1 for items of the top folder
  };

  // Adds the folder's items, and makes its subfolders pending. Inlined copies would cost stack.
  [[gnu::noinline]] void read(const Folder& folder, const Pending& place) {
    const std::string prefix = place.path.empty() ? "" : place.path + '/';
    const std::size_t length = topLength_ + 1 + prefix.size();
    DirectoryReader<16384> reader(folder);
    while (const std::optional<DirectoryEntry> entry = reader.next()) {
      const std::string_view name(entry->name);
      if (length + name.size() > longestPath) {
        isFolderElseAdd(folder, std::string(name.substr(0, longestPath - length)).c_str());
      } else if ((entry->type == DT_DIR || isFolderElseAdd(folder, entry->name)) &&
                 length + name.size() <= longestFolderPath) {
        pending_.push_back({.path = prefix + entry->name, .depth = place.depth + 1});
      }
    }
  }

  // Returns true for a folder, else adds the item's size, or nothing if it cannot be queried.
  bool isFolderElseAdd(const Folder& folder, const char* name) noexcept {
    struct ::stat status {};
    if (folder.statusOf(name, status) == 0 && !S_ISDIR(status.st_mode)) {
      add(status.st_size, total_);
    }
    return S_ISDIR(status.st_mode);
  }

  std::size_t topLength_;
  std::int64_t total_ = 0;
  std::vector<Pending> pending_;        // a stack
  std::array<Open, maxOpen + 1> open_;  // by depth; the last is for all deeper folders
};

// Each path in the folder is truncated to the first 1023 bytes of the folder's own path.
[[gnu::noinline]] std::int64_t sizeBelowLongPath(const Folder& folder,
                                                 std::string_view path) noexcept {
  const auto status = files::statusOfLink(PathBuffer(path.substr(0, longestPath)));
  std::int64_t total = 0;
  for (DirectoryReader<16384> reader(folder);
       status && !S_ISDIR(status->st_mode) && reader.next();) {
    add(status->st_size, total);
  }
  return total;
}

}  // namespace
}  // namespace ox

std::int64_t OXGetTotalFolderSize(OXStringView path) {
  return path ? _OXGetTotalFolderSize(ox::PathBuffer(*path).c_str()) : 0;
}

std::int64_t _OXGetTotalFolderSize(const char* bytePath) {
  const std::string_view path(bytePath != nullptr ? bytePath : "");
  ox::Folder top =
      ox::Folder::open(path.data(), ox::Folder::Access::list, ox::Folder::Links::follow);
  if (!top.isOpen() || path.size() > ox::longestFolderPath) {
    return top.isOpen() && path.size() > ox::longestPath ? ox::sizeBelowLongPath(top, path) : 0;
  }
  return ox::FolderWalk(std::move(top), path.size()).total();
}
