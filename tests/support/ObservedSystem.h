// SPDX-License-Identifier: MIT

// The seam to the operating system in tests of the modules: counts every call, forwards it, and
// can make any of them fail. Aborts the process if a descriptor is opened without close-on-exec.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ox::test {

enum class Call {
  fstat,
  fstatat,
  statx,
  mkdirat,
  mkdtemp,
  realpath,
  readlink,
  openat,
  read,
  write,
  poll,
  getdents,
  fsync,
  unlinkat,
  renameat,
  renameat2,
  fchmod,
  fchmodat,
  fchmodat2,
  getpwuid,
  close,
  dlopen,
  getcwd,
  lseek,
  callCount
};

// Observes during its lifetime; only one at a time. Counting is thread-safe; set up everything else
// before threads start.
class ObservedSystem {
 public:
  ObservedSystem();
  ~ObservedSystem();
  ObservedSystem(const ObservedSystem&) = delete;
  ObservedSystem& operator=(const ObservedSystem&) = delete;

  // The number of calls since the start, except `close`, which also serves cleaning up.
  int count() const;
  int count(Call call) const;

  // The paths synced since the start, in order.
  std::vector<std::string> syncedPaths() const;

  // Makes calls of one kind fail with `error`, without making the real call: the `nth` one from
  // now, or all if `nth` is 0.
  void fail(Call call, int error, int nth = 0);

  // Makes the `nth` call of any kind except `close` fail.
  void failNth(int nth, int error);

  // Makes each interruptible call fail with EINTR this many times before it is made.
  void interruptEach(int times);

  // Makes changing permissions without following links fail, as before Linux 6.6 without /proc.
  void hideProc();

  // Makes folder listings report no entry types, as on some file systems.
  void hideEntryTypes();

  // Calls `action` before each call of this kind.
  void before(Call call, std::function<void()> action);

  // Answers `fstatat` from `exists`, which tells whether an item is at a path, and not from the
  // disk. The calls are still counted and can be made to fail.
  void answerExistence(std::function<bool(std::string_view path)> exists);
};

}  // namespace ox::test
