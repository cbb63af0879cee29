// The one seam to the operating system: every system call that the library makes on files and
// folders goes through here, so that a test can put another definition in its place, count the
// calls, and make any of them fail. All behave as the calls whose names they bear.

#pragma once

#include <poll.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

namespace ox::sys {

int stat(const char* path, struct ::stat* status) noexcept;
int lstat(const char* path, struct ::stat* status) noexcept;
int fstat(int fd, struct ::stat* status) noexcept;
int fstatat(int dirfd, const char* name, struct ::stat* status, int flags) noexcept;
int mkdir(const char* path, mode_t mode) noexcept;
int mkdirat(int dirfd, const char* name, mode_t mode) noexcept;
char* mkdtemp(char* pattern) noexcept;
int rmdir(const char* path) noexcept;
int unlink(const char* path) noexcept;
int rename(const char* from, const char* to) noexcept;
char* realpath(const char* path, char* resolved) noexcept;  // `resolved` holds PATH_MAX bytes

int open(const char* path, int flags) noexcept;
int openat(int dirfd, const char* name, int flags, mode_t mode = 0) noexcept;
int close(int fd) noexcept;
ssize_t read(int fd, void* buffer, std::size_t size) noexcept;
ssize_t write(int fd, const void* bytes, std::size_t size) noexcept;
int poll(struct ::pollfd* waiting, nfds_t count, int timeout) noexcept;
ssize_t getdents(int fd, void* buffer, std::size_t size) noexcept;
int fsync(int fd) noexcept;
off_t lseek(int fd, off_t offset, int whence) noexcept;
int unlinkat(int dirfd, const char* name, int flags) noexcept;
int renameat(int fromDirfd, const char* from, int toDirfd, const char* to) noexcept;
int renameat2(int fromDirfd, const char* from, int toDirfd, const char* to,
              unsigned flags) noexcept;
int fchmod(int fd, mode_t mode) noexcept;
int fchmodat(int dirfd, const char* name, mode_t mode, int flags) noexcept;

void* dlopen(const char* file, int flags) noexcept;

}  // namespace ox::sys
