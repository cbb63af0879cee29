// SPDX-License-Identifier: MIT

#include "platform/files/Folder.h"

#include <linux/fs.h>
#include <linux/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ox {
namespace {

// O_NONBLOCK: opening what turns out to be a pipe or a device must not wait.
constexpr int flagsFor(Folder::Access access) noexcept {
  return O_DIRECTORY | O_CLOEXEC |
         (access == Folder::Access::list ? O_RDONLY | O_NONBLOCK : O_PATH);
}

// Whether no other user can put something else in place of `item`, which is in `parent`.
bool isNameOnlyOurs(const Folder& parent, const Folder& item) noexcept {
  struct ::stat outer;
  struct ::stat inner;
  if (parent.status(outer) != 0 || item.status(inner) != 0) {
    return false;
  }
  const uid_t user = ::geteuid();
  const bool othersMayWrite = (outer.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  const bool onlyOwnersRename = (outer.st_mode & S_ISVTX) != 0 && inner.st_uid == user;
  return (outer.st_uid == user || outer.st_uid == 0) && (!othersMayWrite || onlyOwnersRename);
}

int setPermissionsWithoutProc(const Folder& in, const char* name, mode_t mode) noexcept {
  const Folder folder = in.openFolder(name, Folder::Access::use);
  if (!folder.isOpen()) {
    return folder.error();
  }
  // "." is the open folder itself, but looking it up needs search permission.
  const int error = errorOf(sys.fchmodat(folder.fd(), ".", mode, 0));
  return error == EACCES && isNameOnlyOurs(in, folder)
             ? errorOf(sys.fchmodat(in.fd(), name, mode, 0))
             : error;
}

}  // namespace

Folder Folder::open(const char* path, Access access, Links links) noexcept {
  const int noFollow = links == Links::refuse ? O_NOFOLLOW : 0;
  return Folder(sys.openat(AT_FDCWD, path, flagsFor(access) | noFollow, 0));
}

Folder Folder::openFolder(const char* name, Access access) const noexcept {
  return Folder(sys.openat(fd(), name, flagsFor(access) | O_NOFOLLOW, 0));
}

FileDescriptor Folder::createFile(const char* name, mode_t mode) const noexcept {
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;  // O_EXCL follows no link
  return FileDescriptor(sys.openat(fd(), name, flags, mode));
}

std::uint64_t Folder::mountId() const noexcept {
  struct ::statx status;
  const bool isKnown = sys.statx(fd(), "", AT_EMPTY_PATH, STATX_MNT_ID, &status) == 0 &&
                       (status.stx_mask & STATX_MNT_ID) != 0;
  return isKnown ? status.stx_mnt_id : 0;
}

int Folder::rename(const char* name, const Folder& to, const char* newName) const noexcept {
  const int error = errorOf(sys.renameat2(fd(), name, to.fd(), newName, RENAME_NOREPLACE));
  if (error != EINVAL && error != ENOSYS) {
    return error;
  }
  struct ::stat status;
  const int taken = to.statusOf(newName, status);
  if (taken != ENOENT) {
    return taken == 0 ? EEXIST : taken;
  }
  return errorOf(sys.renameat(fd(), name, to.fd(), newName));
}

int Folder::setPermissionsOf(const char* name, mode_t mode) const noexcept {
  mode &= 07777;  // without the file type
  int error = errorOf(sys.fchmodat2(fd(), name, mode, AT_SYMLINK_NOFOLLOW));
  // Filters of system calls (seccomp) return EPERM for calls that they do not know.
  if (error == ENOSYS || error == EPERM) {
    // The C library's implementation, through /proc.
    error = errorOf(sys.fchmodat(fd(), name, mode, AT_SYMLINK_NOFOLLOW));
  }
  return error == EOPNOTSUPP ? setPermissionsWithoutProc(*this, name, mode) : error;
}

}  // namespace ox
