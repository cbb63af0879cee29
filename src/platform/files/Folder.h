// SPDX-License-Identifier: MIT

// An open folder, and operations on its items by name.
//
// All calls use the folder's descriptor, so they act on this folder even if it is renamed, or
// replaced by a symbolic link, meanwhile. A name is one component. No symbolic link is followed
// unless the function says so. Functions that return `int` return 0 or the `errno`. A folder or
// file that could not be opened has it as its `error`. Interrupted calls are repeated.

#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>

#include "platform/files/FileDescriptor.h"
#include "platform/files/System.h"

namespace ox {

// Identifies an item: no two items that exist at the same time have the same.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const Identity&) const = default;
};

inline Identity identityOf(const struct ::stat& status) noexcept {
  return {.device = status.st_dev, .inode = status.st_ino};
}

class Folder {
 public:
  enum class Access {
    list,  // to read its entries as well; needs read permission
    use,   // only to create, open, rename and remove items by name
  };
  enum class Links { refuse, follow };

  Folder() noexcept = default;

  bool isOpen() const noexcept { return descriptor_.isOpen(); }
  int error() const noexcept { return descriptor_.error(); }
  int fd() const noexcept { return descriptor_.get(); }

  // Opens the folder at `path`. `links` is for the last component; earlier links are followed.
  static Folder open(const char* path, Access access, Links links) noexcept;

  Folder openFolder(const char* name, Access access) const noexcept;

  // Creates a file exclusively and opens it for writing.
  FileDescriptor createFile(const char* name, mode_t mode) const noexcept;

  int makeFolder(const char* name, mode_t mode) const noexcept {
    return errorOf(sys.mkdirat(fd(), name, mode));
  }

  // The status of the folder itself. If it is not open, this and `statusOf` return its `error`.
  int status(struct ::stat& status) const noexcept {
    return isOpen() ? ox::statusOf(fd(), status) : error();
  }

  int statusOf(const char* name, struct ::stat& status) const noexcept {
    return isOpen() ? errorOf(sys.fstatat(fd(), name, &status, AT_SYMLINK_NOFOLLOW)) : error();
  }

  // The ID of the mount through which the folder was opened; 0 before Linux 5.8.
  std::uint64_t mountId() const noexcept;

  // Makes the next `DirectoryReader` start at the first entry.
  int rewind() const noexcept { return seekToStart(fd()); }

  // Removes anything but a folder.
  int unlink(const char* name) const noexcept { return errorOf(sys.unlinkat(fd(), name, 0)); }

  // Removes an empty folder.
  int removeFolder(const char* name) const noexcept {
    return errorOf(sys.unlinkat(fd(), name, AT_REMOVEDIR));
  }

  // Returns EEXIST if any item has the new name. If the file system cannot check that and rename in
  // one step, an item that another process creates in between may be replaced.
  int rename(const char* name, const Folder& to, const char* newName) const noexcept;

  // For the folder itself, opened with `Access::list`.
  int setPermissions(mode_t mode) const noexcept { return errorOf(sys.fchmod(fd(), mode)); }

  // For the folder `name`. Returns EACCES if a symbolic link might be followed: before Linux 6.6
  // without /proc, if the folder may not be searched and another user could replace it by a link.
  int setPermissionsOf(const char* name, mode_t mode) const noexcept;

  // Returns when the entries created and removed so far are on disk, if the file system supports
  // that. For a folder opened with `Access::list`.
  int sync() const noexcept {
    const int error = syncToDisk(fd());
    return error == EINVAL ? 0 : error;  // some file systems cannot sync folders
  }

 private:
  explicit Folder(int fd) noexcept : descriptor_(fd) {}

  FileDescriptor descriptor_;
};

}  // namespace ox
