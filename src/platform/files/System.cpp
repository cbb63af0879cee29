#include "platform/files/System.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace ox::kernel {

int stat(const char* path, struct ::stat* status) noexcept {
  return ::stat(path, status);
}

int lstat(const char* path, struct ::stat* status) noexcept {
  return ::lstat(path, status);
}

int fstat(int fd, struct ::stat* status) noexcept {
  return ::fstat(fd, status);
}

int fstatat(int dirfd, const char* name, struct ::stat* status, int flags) noexcept {
  return ::fstatat(dirfd, name, status, flags);
}

int statx(int dirfd, const char* name, int flags, unsigned mask, struct ::statx* status) noexcept {
  return ::statx(dirfd, name, flags, mask, status);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return ::mkdir(path, mode);
}

int mkdirat(int dirfd, const char* name, mode_t mode) noexcept {
  return ::mkdirat(dirfd, name, mode);
}

char* mkdtemp(char* pattern) noexcept {
  return ::mkdtemp(pattern);
}

char* realpath(const char* path, char* resolved) noexcept {
  return ::realpath(path, resolved);
}

ssize_t readlink(const char* path, char* target, std::size_t size) noexcept {
  return ::readlink(path, target, size);
}

char* getcwd(char* path, std::size_t size) noexcept {
  return ::getcwd(path, size);
}

int open(const char* path, int flags) noexcept {
  return ::open(path, flags);
}

int openat(int dirfd, const char* name, int flags, mode_t mode) noexcept {
  return ::openat(dirfd, name, flags, mode);
}

int close(int fd) noexcept {
  return ::close(fd);
}

ssize_t read(int fd, void* buffer, std::size_t size) noexcept {
  return ::read(fd, buffer, size);
}

ssize_t write(int fd, const void* bytes, std::size_t size) noexcept {
  return ::write(fd, bytes, size);
}

int poll(struct ::pollfd* waiting, nfds_t count, int timeout) noexcept {
  return ::poll(waiting, count, timeout);
}

ssize_t getdents(int fd, void* buffer, std::size_t size) noexcept {
  return ::getdents64(fd, buffer, size);
}

int fsync(int fd) noexcept {
  return ::fsync(fd);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return ::lseek(fd, offset, whence);
}

int unlinkat(int dirfd, const char* name, int flags) noexcept {
  return ::unlinkat(dirfd, name, flags);
}

int renameat(int fromDirfd, const char* from, int toDirfd, const char* to) noexcept {
  return ::renameat(fromDirfd, from, toDirfd, to);
}

int renameat2(int fromDirfd, const char* from, int toDirfd, const char* to,
              unsigned flags) noexcept {
  return ::renameat2(fromDirfd, from, toDirfd, to, flags);
}

int fchmod(int fd, mode_t mode) noexcept {
  return ::fchmod(fd, mode);
}

int fchmodat(int dirfd, const char* name, mode_t mode, int flags) noexcept {
  return ::fchmodat(dirfd, name, mode, flags);
}

int fchmodat2(int dirfd, const char* name, mode_t mode, int flags) noexcept {
  constexpr long number = 452;  // on every architecture; this C library has no function for it
  return static_cast<int>(::syscall(number, dirfd, name, mode, flags));
}

int getpwuid(uid_t user, struct ::passwd* entry, char* strings, std::size_t size,
             struct ::passwd** found) noexcept {
  errno = ::getpwuid_r(user, entry, strings, size, found);
  return errno == 0 ? 0 : -1;
}

void* dlopen(const char* file, int flags) noexcept {
  return ::dlopen(file, flags);
}

}  // namespace ox::kernel
