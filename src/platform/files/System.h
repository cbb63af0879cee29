// System calls on files and folders.
//
// `ox::kernel` is the seam: one thin function for each call, which tests replace with their own at
// link time to count calls and to make any of them fail. `ox::sys` is what the library calls: the
// same functions, called again when a signal interrupted them.

#pragma once

#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>

namespace ox::kernel {

int stat(const char* path, struct ::stat* status) noexcept;
int lstat(const char* path, struct ::stat* status) noexcept;
int fstat(int fd, struct ::stat* status) noexcept;
int fstatat(int dirfd, const char* name, struct ::stat* status, int flags) noexcept;
int statx(int dirfd, const char* name, int flags, unsigned mask, struct ::statx* status) noexcept;
int mkdir(const char* path, mode_t mode) noexcept;
int mkdirat(int dirfd, const char* name, mode_t mode) noexcept;
char* mkdtemp(char* pattern) noexcept;
char* realpath(const char* path, char* resolved) noexcept;  // `resolved` holds PATH_MAX bytes
ssize_t readlink(const char* path, char* target, std::size_t size) noexcept;
char* getcwd(char* path, std::size_t size) noexcept;
int open(const char* path, int flags) noexcept;
int openat(int dirfd, const char* name, int flags, mode_t mode) noexcept;
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
int fchmodat2(int dirfd, const char* name, mode_t mode, int flags) noexcept;  // since Linux 6.6
// As `getpwuid_r`, but with the error in `errno`.
int getpwuid(uid_t user, struct ::passwd* entry, char* strings, std::size_t size,
             struct ::passwd** found) noexcept;
void* dlopen(const char* file, int flags) noexcept;

}  // namespace ox::kernel

namespace ox::sys {

// Calls `call` again for as long as a signal interrupts it before it has done anything.
template <auto call>
struct Retried;

template <typename Result, typename... Argument, Result (*call)(Argument...) noexcept>
struct Retried<call> {
  Result operator()(Argument... argument) const noexcept {
    for (;;) {
      const Result result = call(argument...);
      if (!isFailure(result) || errno != EINTR) {
        return result;
      }
    }
  }

 private:
  static constexpr bool isFailure(const void* result) noexcept { return result == nullptr; }
  static constexpr bool isFailure(ssize_t result) noexcept { return result < 0; }
};

inline constexpr Retried<kernel::stat> stat;
inline constexpr Retried<kernel::lstat> lstat;
inline constexpr Retried<kernel::fstat> fstat;
inline constexpr Retried<kernel::fstatat> fstatat;
inline constexpr Retried<kernel::statx> statx;
inline constexpr Retried<kernel::mkdir> mkdir;
inline constexpr Retried<kernel::mkdirat> mkdirat;
inline constexpr Retried<kernel::mkdtemp> mkdtemp;
inline constexpr Retried<kernel::realpath> realpath;
inline constexpr Retried<kernel::readlink> readlink;
inline constexpr Retried<kernel::open> open;
inline constexpr Retried<kernel::openat> openat;
inline constexpr Retried<kernel::read> read;
inline constexpr Retried<kernel::write> write;
inline constexpr Retried<kernel::poll> poll;
inline constexpr Retried<kernel::getdents> getdents;
inline constexpr Retried<kernel::fsync> fsync;
inline constexpr Retried<kernel::unlinkat> unlinkat;
inline constexpr Retried<kernel::renameat> renameat;
inline constexpr Retried<kernel::renameat2> renameat2;
inline constexpr Retried<kernel::fchmod> fchmod;
inline constexpr Retried<kernel::fchmodat> fchmodat;
inline constexpr Retried<kernel::fchmodat2> fchmodat2;
inline constexpr Retried<kernel::getpwuid> getpwuid;

// Linux closes the descriptor even when a signal interrupts the call, so it is not closed again.
using kernel::close;
// These are never interrupted.
using kernel::dlopen;
using kernel::getcwd;
using kernel::lseek;

}  // namespace ox::sys
