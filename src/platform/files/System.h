// SPDX-License-Identifier: MIT

// System calls on files and folders.
//
// The library makes each of them through the table `sys`. It is a seam: tests link a table of their
// own in its place, to count calls and to make any of them fail. It is constant, in memory that is
// read-only while a program runs, so no attacker can put another call there.

#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace ox {

// Calls that the C library declares in another form, or not at all.
namespace kernel {

inline int openat(int dirfd, const char* name, int flags, mode_t mode) noexcept {
  return ::openat(dirfd, name, flags, mode);
}

template <long number, typename Result, typename... Argument>
Result call(Argument... argument) noexcept {
  return static_cast<Result>(::syscall(number, argument...));
}

constexpr auto getdents = call<SYS_getdents64, ssize_t, int, void*, std::size_t>;
constexpr auto renameat2 = call<SYS_renameat2, int, int, const char*, int, const char*, unsigned>;
constexpr auto fchmodat2 = call<452, int, int, const char*, mode_t, int>;  // since Linux 6.6

// As `getpwuid_r`, but with the error in `errno`.
inline int getpwuid(uid_t user, struct ::passwd* entry, char* strings, std::size_t size,
                    struct ::passwd** found) noexcept {
  errno = ::getpwuid_r(user, entry, strings, size, found);
  return errno == 0 ? 0 : -1;
}

}  // namespace kernel

// Repeats a call for as long as a signal interrupts it (EINTR).
template <auto real>
struct Retried;

template <typename Result, typename... Argument, bool isNoexcept,
          Result (*real)(Argument...) noexcept(isNoexcept)>
struct Retried<real> {
  Result (*call)(Argument...) = real;

  Result operator()(Argument... argument) const noexcept {
    for (;;) {
      const Result result = call(argument...);
      if (!isFailure(result) || errno != EINTR) {
        return result;
      }
    }
  }

  static constexpr bool isFailure(const void* result) noexcept { return result == nullptr; }
  static constexpr bool isFailure(ssize_t result) noexcept { return result < 0; }
};

struct System {
  Retried<::fstat> fstat;
  Retried<::fstatat> fstatat;
  Retried<kernel::call<SYS_statx, int, int, const char*, int, unsigned, void*>> statx;
  Retried<::mkdirat> mkdirat;
  Retried<::mkdtemp> mkdtemp;
  Retried<::realpath> realpath;  // into a buffer of PATH_MAX bytes
  Retried<::readlink> readlink;
  Retried<kernel::openat> openat;
  Retried<::read> read;
  Retried<::write> write;
  Retried<::poll> poll;
  Retried<kernel::getdents> getdents;
  Retried<::fsync> fsync;
  Retried<::unlinkat> unlinkat;
  Retried<::renameat> renameat;
  Retried<kernel::renameat2> renameat2;
  Retried<::fchmod> fchmod;
  Retried<::fchmodat> fchmodat;
  Retried<kernel::fchmodat2> fchmodat2;
  Retried<kernel::getpwuid> getpwuid;

  // Linux closes the descriptor even when a signal interrupts the call, so it is not closed again.
  decltype(&::close) close = ::close;

  // These are never interrupted.
  decltype(&::dlopen) dlopen = ::dlopen;
  decltype(&::getcwd) getcwd = ::getcwd;
  decltype(&::lseek) lseek = ::lseek;
};

extern const System sys;

// Returns 0, or the `errno` of the call that has just returned `result`.
inline int errorOf(std::int64_t result) noexcept {
  return result < 0 ? errno : 0;
}

}  // namespace ox
