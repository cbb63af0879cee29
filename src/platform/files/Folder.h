// An open folder, and what can be done in it by name.
//
// Everything goes by the folder's descriptor, so the answer is about this very folder even when
// somebody renames it, or swaps it for a symbolic link, meanwhile. A name is one component, and no
// symbolic link is followed unless the function says so. Every function that returns `int` returns
// 0 or the `errno` of what failed, and what cannot be opened has it as its `error`; a call that a
// signal interrupts is made again.

#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>

#include "platform/files/FileDescriptor.h"
#include "platform/files/System.h"

namespace ox {

// Which item it is: no two items that exist at the same time are equal.
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
    list,  // to read its entries as well, which takes the permission to read it
    use,   // to make, open, rename and remove by name alone
  };
  enum class Links { refuse, follow };

  Folder() noexcept = default;

  bool isOpen() const noexcept { return descriptor_.isOpen(); }
  int error() const noexcept { return descriptor_.error(); }
  int fd() const noexcept { return descriptor_.get(); }

  // Opens the folder at `path`; `links` is for its last component, those before it are followed.
  static Folder open(const char* path, Access access, Links links) noexcept;

  Folder openFolder(const char* name, Access access) const noexcept;

  // Makes a file, which must not exist, and opens it for writing.
  FileDescriptor createFile(const char* name, mode_t mode) const noexcept;

  int makeFolder(const char* name, mode_t mode) const noexcept {
    return errorOf(sys.mkdirat(fd(), name, mode));
  }

  // Of the folder itself. If it is not open, this and `statusOf` return its own error.
  int status(struct ::stat& status) const noexcept {
    return isOpen() ? ox::statusOf(fd(), status) : error();
  }

  int statusOf(const char* name, struct ::stat& status) const noexcept {
    return isOpen() ? errorOf(sys.fstatat(fd(), name, &status, AT_SYMLINK_NOFOLLOW)) : error();
  }

  // The number of the mount that the folder was reached through; 0 before Linux 5.8.
  std::uint64_t mountId() const noexcept;

  // The next `DirectoryReader` starts at the first entry.
  int rewind() const noexcept { return seekToStart(fd()); }

  // Anything but a folder.
  int unlink(const char* name) const noexcept { return errorOf(sys.unlinkat(fd(), name, 0)); }

  // An empty one.
  int removeFolder(const char* name) const noexcept {
    return errorOf(sys.unlinkat(fd(), name, AT_REMOVEDIR));
  }

  // Returns EEXIST when `newName` is taken, by whatever. Where the file system cannot check that
  // and rename in one step, an item that somebody else makes between the two may be replaced.
  int rename(const char* name, const Folder& to, const char* newName) const noexcept;

  // Of the folder itself, opened with `Access::list`.
  int setPermissions(mode_t mode) const noexcept { return errorOf(sys.fchmod(fd(), mode)); }

  // Of the folder `name`. EACCES where that cannot be done without the danger of following a
  // link: before Linux 6.6 without /proc, for a folder that may not be searched, when somebody else
  // could replace it by a link meanwhile.
  int setPermissionsOf(const char* name, mode_t mode) const noexcept;

  // Returns when the entries made and removed so far are on the disk, if the file system can tell.
  // Of a folder opened with `Access::list`.
  int sync() const noexcept {
    const int error = syncToDisk(fd());
    return error == EINVAL ? 0 : error;  // some file systems know no such thing for folders
  }

 private:
  explicit Folder(int fd) noexcept : descriptor_(fd) {}

  FileDescriptor descriptor_;
};

}  // namespace ox
