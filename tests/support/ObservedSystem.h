// The seam to the operating system as the tests of the inner rooms see it: every call is counted
// and passed on, and any of them can be made to fail. A descriptor that would be open in a program
// that is started meanwhile ends the process.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ox::test {

enum class Call {
  stat,
  lstat,
  fstat,
  fstatat,
  statx,
  mkdir,
  mkdirat,
  mkdtemp,
  realpath,
  readlink,
  open,
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

// Observes for as long as it lives; one at a time. Counting is safe from any thread, the rest is
// set up before threads start.
class ObservedSystem {
 public:
  ObservedSystem();
  ~ObservedSystem();
  ObservedSystem(const ObservedSystem&) = delete;
  ObservedSystem& operator=(const ObservedSystem&) = delete;

  // Calls since the start, without `close`, which cannot be told from tidying up.
  int count() const;
  int count(Call call) const;

  // What has been synced since the start, in its order, with the path that it had.
  std::vector<std::string> syncedPaths() const;

  // Makes the calls of one kind fail with `error`: the `nth` one from now, or all when it is 0. The
  // real call is not made.
  void fail(Call call, int error, int nth = 0);

  // Makes the `nth` call of any kind but `close` fail.
  void failNth(int nth, int error);

  // Interrupts each call that signals may interrupt so many times before it is made.
  void interruptEach(int times);

  // Makes changing permissions without following links fail as it does before Linux 6.6 where there
  // is no /proc.
  void hideProc();

  // Makes folders keep the kinds of their entries to themselves, as some file systems do.
  void hideEntryTypes();

  // Calls `action` before each call of this kind is passed on.
  void before(Call call, std::function<void()> action);

  // Answers `stat` in the disk's place: `exists` says whether something lies at a path. The calls
  // are counted, and made to fail, as ever.
  void answerExistence(std::function<bool(std::string_view path)> exists);
};

}  // namespace ox::test
