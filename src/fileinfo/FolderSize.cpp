// The size of all that is in a folder.
//
// A path in the tree is the path of its folder, "/", and its name, all in a buffer of 1024 bytes
// with the terminator: what is longer is cut to 1023 bytes, and the cut path is asked about in its
// place. It may name nothing, or another item in the same folder. When it names a folder, its own
// path fills the buffer, so that every path below it is cut to that same path again: all that such
// a folder contains is itself, and its size is nothing. That also bounds the depth.
//
// No paths are handed to the system here: the walk goes by descriptors, and lengths alone decide.

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/DirectoryReader.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/PathBuffer.h"
#include "platform/files/System.h"

namespace {

using namespace ox;

constexpr std::size_t longestPath = 1023;

// Room for "/" and one byte of a name. In a folder with a longer path, every path is cut to the
// folder's own.
constexpr std::size_t longestFolderPath = longestPath - 2;

constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;

// Sizes are what file systems claim, so they may add up to more than there is room for.
class ByteCount {
 public:
  void add(std::int64_t size) noexcept {
    if (__builtin_add_overflow(count_, size, &count_)) {
      count_ = std::numeric_limits<std::int64_t>::max();
    }
  }
  std::int64_t value() const noexcept { return count_; }

 private:
  std::int64_t count_ = 0;
};

// Each folder is read to its end before the walk goes on to those in it, so that it needs to stay
// open only for opening them. Of the first levels all do; the folders below are opened by their
// path from the last of these.
class FolderWalk {
 public:
  // `topLength` is the length of the top folder's path.
  FolderWalk(FileDescriptor top, std::size_t topLength) noexcept : topLength_(topLength) {
    open_[0].descriptor = std::move(top);
  }

  std::int64_t total() {
    read(open_[0].descriptor.get(), 0);
    while (!pending_.empty()) {
      const Folder folder = pending_.back();
      pending_.pop_back();
      enter(folder);
    }
    return total_.value();
  }

 private:
  static constexpr std::size_t maxOpen = 16;

  struct OpenFolder {
    FileDescriptor descriptor;
    std::size_t pathLength = 0;  // from the top folder
  };

  struct Folder {
    std::size_t nameStart;       // in `names_`, up to their end when the folder's turn comes
    std::uint16_t parentLength;  // of the path from the top folder
    std::uint16_t depth;         // 1 in the top folder
  };

  void enter(const Folder& folder) {
    path_.resize(folder.parentLength);
    if (!path_.empty()) {
      path_ += '/';
    }
    path_.append(names_, folder.nameStart);
    names_.resize(folder.nameStart);

    const OpenFolder& base = open_[std::min<std::size_t>(folder.depth, maxOpen) - 1];
    const std::size_t start = base.pathLength == 0 ? 0 : base.pathLength + 1;
    FileDescriptor descriptor(
        sys::openat(base.descriptor.get(), path_.c_str() + start, openFlags | O_NOFOLLOW, 0));
    if (!descriptor.isOpen()) {
      if (errno == ENOTDIR) {
        // No folder after all, or no longer.
        addUnlessFolder(base.descriptor.get(), path_.c_str() + start);
      }
      return;
    }
    read(descriptor.get(), folder.depth);
    if (folder.depth < maxOpen) {
      open_[folder.depth] = {.descriptor = std::move(descriptor), .pathLength = path_.size()};
    }
  }

  // Adds what is in the folder at `path_`, and leaves the folders in it pending.
  void read(int fd, unsigned depth) {
    const std::size_t length = topLength_ + (depth == 0 ? 0 : 1 + path_.size());
    DirectoryReader<32768> reader(fd);
    while (const std::optional<DirectoryEntry> entry = reader.next()) {
      const std::size_t nameLength = std::strlen(entry->name);
      if (length + 1 + nameLength > longestPath) {
        addCut(fd, std::string_view(entry->name, longestPath - length - 1));
      } else if (isFolder(fd, *entry)) {
        addPending({entry->name, nameLength}, length + 1 + nameLength, depth + 1);
      }
    }
  }

  // Anything else is added at once.
  bool isFolder(int dirfd, const DirectoryEntry& entry) noexcept {
    return entry.type == DT_DIR || !addUnlessFolder(dirfd, entry.name);
  }

  // What cannot be asked about counts as nothing.
  bool addUnlessFolder(int dirfd, const char* name) noexcept {
    struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
    if (sys::fstatat(dirfd, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return true;
    }
    if (S_ISDIR(status.st_mode)) {
      return false;
    }
    total_.add(status.st_size);
    return true;
  }

  void addCut(int dirfd, std::string_view name) noexcept {
    std::array<char, longestPath + 1> bytes;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    bytes[name.copy(bytes.data(), name.size())] = '\0';
    addUnlessFolder(dirfd, bytes.data());
  }

  void addPending(std::string_view name, std::size_t length, unsigned depth) {
    if (length <= longestFolderPath) {
      pending_.push_back({.nameStart = names_.size(),
                          .parentLength = static_cast<std::uint16_t>(path_.size()),
                          .depth = static_cast<std::uint16_t>(depth)});
      names_ += name;
    }
  }

  std::size_t topLength_;
  ByteCount total_;
  std::string path_;                      // of the folder being read, from the top folder
  std::vector<Folder> pending_;           // the next one last
  std::string names_;                     // theirs, one after the other
  std::array<OpenFolder, maxOpen> open_;  // by depth; those above the pending folders are valid
};

// Every path in the folder is cut to one and the same, somewhere in the folder's own.
std::int64_t sizeBelowLongPath(int fd, std::string_view path) noexcept {
  std::array<char, longestPath + 1> cut;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  cut[path.copy(cut.data(), longestPath)] = '\0';
  struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
  if (sys::lstat(cut.data(), &status) != 0 || S_ISDIR(status.st_mode)) {
    return 0;
  }
  ByteCount total;
  DirectoryReader<32768> reader(fd);
  while (reader.next()) {
    total.add(status.st_size);
  }
  return total.value();
}

}  // namespace

std::int64_t OXGetTotalFolderSize(OXStringView path) {
  if (!path) {
    return 0;
  }
  const PathBuffer bytes(*path);
  return bytes.isRepresentable() ? _OXGetTotalFolderSize(bytes.c_str()) : 0;
}

std::int64_t _OXGetTotalFolderSize(const char* bytePath) {
  if (bytePath == nullptr) {
    return 0;
  }
  FileDescriptor top(sys::open(bytePath, openFlags));
  if (!top.isOpen()) {
    return 0;
  }
  const std::string_view path(bytePath);
  if (path.size() > longestPath) {
    return sizeBelowLongPath(top.get(), path);
  }
  return path.size() <= longestFolderPath ? FolderWalk(std::move(top), path.size()).total() : 0;
}
