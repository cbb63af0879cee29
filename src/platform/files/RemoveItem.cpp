// Removal of a whole folder. It goes by directory descriptors, so that swapping a folder for a link
// half-way leads nowhere else.

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <charconv>

#include "platform/files/DirectoryReader.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"
#include "platform/files/System.h"

namespace ox::files {
namespace {

constexpr int openFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

class FolderRemover {
 public:
  explicit FolderRemover(int topFd) noexcept : topFd_(topFd) {}

  void removeContents() noexcept { removeContents(topFd_, 0); }

  static int openFolder(int dirfd, const char* name) noexcept {
    const int fd = sys::openat(dirfd, name, openFolderFlags, 0);
    if (fd >= 0 || errno != EACCES) {
      return fd;
    }
    // Without following a link: the name may have become one since it was read.
    if (sys::fchmodat(dirfd, name, 0700, AT_SYMLINK_NOFOLLOW) != 0) {
      return -1;
    }
    return sys::openat(dirfd, name, openFolderFlags, 0);
  }

 private:
  // Each level holds one descriptor and one buffer of this size.
  static constexpr int maxDepth = 16;
  static constexpr std::size_t bufferSize = 4096;

  // Entries that move or arrive during a pass may be missed by it, so passes are repeated for as
  // long as they change something. What is listed and yet is not there is no change: a file system
  // that goes on listing it would never let this end.
  void removeContents(int fd, int depth) noexcept {
    for (;;) {
      const unsigned changesBefore = changes_;
      sys::lseek(fd, 0, SEEK_SET);
      DirectoryReader<bufferSize> reader(fd);
      while (const std::optional<DirectoryEntry> entry = reader.next()) {
        if (removeEntry(fd, *entry, depth)) {
          ++changes_;
        }
      }
      if (changes_ == changesBefore || reader.failed()) {
        return;
      }
    }
  }

  // These three say whether they have changed anything.

  bool removeEntry(int dirfd, const DirectoryEntry& entry, int depth) noexcept {
    if (entry.type != DT_DIR) {
      const int error = unlinkEntry(dirfd, entry.name, 0);
      if (error != EISDIR) {
        return error == 0;
      }
    }
    const int error = unlinkEntry(dirfd, entry.name, AT_REMOVEDIR);
    if (error != ENOTEMPTY && error != EEXIST) {
      return error == 0;
    }
    return depth < maxDepth ? removeFullFolder(dirfd, entry.name, depth + 1)
                            : moveToTop(dirfd, entry.name);
  }

  bool removeFullFolder(int dirfd, const char* name, int depth) noexcept {
    {
      const FileDescriptor folder(openFolder(dirfd, name));
      if (!folder.isOpen()) {
        return false;
      }
      removeContents(folder.get(), depth);
    }
    return unlinkEntry(dirfd, name, AT_REMOVEDIR) == 0;
  }

  // A folder below the deepest level goes to the top one, where a later pass finds it.
  bool moveToTop(int dirfd, const char* name) noexcept {
    bool madeWritable = false;
    for (;;) {
      std::array<char, 24> newName{".deep."};
      *std::to_chars(newName.data() + 6, newName.data() + newName.size() - 1, nextName_).ptr = '\0';
      if (sys::renameat(dirfd, name, topFd_, newName.data()) == 0) {
        ++nextName_;
        return true;
      }
      const bool nameTaken =
          errno == ENOTEMPTY || errno == EEXIST || errno == ENOTDIR || errno == EISDIR;
      if (nameTaken) {
        ++nextName_;
      } else if (errno == EACCES && !madeWritable) {
        // A folder changes its parent only when it may be written itself.
        madeWritable = true;
        sys::fchmodat(dirfd, name, 0700, AT_SYMLINK_NOFOLLOW);
        sys::fchmod(dirfd, 0700);
        sys::fchmod(topFd_, 0700);
      } else {
        return false;
      }
    }
  }

  // The error, or 0.
  static int unlinkEntry(int dirfd, const char* name, int flags) noexcept {
    if (sys::unlinkat(dirfd, name, flags) == 0) {
      return 0;
    }
    // The folder may be read-only; its owner may change that.
    if (errno == EACCES && sys::fchmod(dirfd, 0700) == 0 &&
        sys::unlinkat(dirfd, name, flags) == 0) {
      return 0;
    }
    return errno;
  }

  int topFd_;
  unsigned nextName_ = 0;
  unsigned changes_ = 0;
};

}  // namespace

bool removeItem(const PathBuffer& path) noexcept {
  if (!path.isRepresentable()) {
    return false;
  }
  if (sys::rmdir(path.c_str()) == 0 || errno == ENOENT) {
    return true;
  }
  if (errno == ENOTDIR) {
    return sys::unlink(path.c_str()) == 0 || errno == ENOENT;
  }
  {
    const FileDescriptor folder(FolderRemover::openFolder(AT_FDCWD, path.c_str()));
    if (folder.isOpen()) {
      FolderRemover(folder.get()).removeContents();
    }
  }
  return sys::rmdir(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace ox::files
