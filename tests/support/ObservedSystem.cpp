// SPDX-License-Identifier: MIT

#include "support/ObservedSystem.h"

#include <dirent.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/files/System.h"

namespace {

using ox::test::Call;

struct Observation {
  std::atomic<int> count{0};
  std::atomic<int> failAt{-1};  // 0: every call
  std::atomic<int> error{0};
  std::atomic<int> tries{0};  // interrupted calls included
  std::function<void()> before;
};

std::array<Observation, static_cast<std::size_t>(Call::callCount)> observations;
Observation anyCall;
std::function<bool(std::string_view)> existence;
bool entryTypesAreHidden = false;
std::vector<std::string> synced;
std::mutex syncedMutex;
bool procIsHidden = false;
int interruptions = 0;  // before each call

Observation& observationOf(Call call) {
  return observations[static_cast<std::size_t>(call)];
}

bool failsNow(Observation& observation) {
  const int now = ++observation.count;
  const int failAt = observation.failAt;
  if (failAt == 0 || failAt == now) {
    errno = observation.error;
    return true;
  }
  return false;
}

bool isInterruptedNow(Call call, Observation& observation) {
  for (const Call never : {Call::close, Call::dlopen, Call::getcwd, Call::lseek}) {
    if (call == never) {
      return false;
    }
  }
  errno = EINTR;
  return interruptions > 0 && observation.tries++ % (interruptions + 1) < interruptions;
}

bool isMadeToFail(Call call) {
  Observation& observation = observationOf(call);
  if (observation.before) {
    observation.before();
  }
  return isInterruptedNow(call, observation) || (call != Call::close && failsNow(anyCall)) ||
         failsNow(observation);
}

template <Call call, auto real>
struct Observed;

template <Call call, typename Result, typename... Argument, bool isNoexcept,
          Result (*real)(Argument...) noexcept(isNoexcept)>
struct Observed<call, real> {
  static Result make(Argument... argument) noexcept {
    if (!isMadeToFail(call)) {
      return real(argument...);
    }
    if constexpr (std::is_pointer_v<Result>) {
      return nullptr;
    } else {
      return -1;
    }
  }
};

// Replaces the real call.
template <Call call, auto real>
constexpr auto observe = Observed<call, real>::make;

void resetAll() {
  for (Observation& observation : observations) {
    observation.count = 0;
    observation.failAt = -1;
    observation.before = nullptr;
    observation.tries = 0;
  }
  anyCall.count = 0;
  anyCall.failAt = -1;
  existence = nullptr;
  entryTypesAreHidden = false;
  synced.clear();
  procIsHidden = false;
  interruptions = 0;
}

// No descriptor may be inherited by a program that is started at the same time.
void requireCloseOnExec(const char* name, int flags) {
  if ((flags & O_CLOEXEC) == 0) {
    static_cast<void>(std::fprintf(stderr, "%s was opened without O_CLOEXEC\n", name));
    std::abort();
  }
}

int openatWithCloseOnExec(int dirfd, const char* name, int flags, mode_t mode) {
  requireCloseOnExec(name, flags);
  return ox::kernel::openat(dirfd, name, flags, mode);
}

int diskOrAnswer(int dirfd, const char* path, struct ::stat* status, int flags) {
  if (!existence) {
    return ::fstatat(dirfd, path, status, flags);
  }
  *status = {};
  errno = ENOENT;
  return existence(path) ? 0 : -1;
}

ssize_t getdentsOrHideTypes(int fd, void* buffer, std::size_t size) {
  const ssize_t count = ox::kernel::getdents(fd, buffer, size);
  for (ssize_t position = 0; entryTypesAreHidden && position < count;) {
    auto* const entry = reinterpret_cast<dirent*>(static_cast<char*>(buffer) + position);
    entry->d_type = DT_UNKNOWN;
    position += entry->d_reclen;
  }
  return count;
}

int noteAndSync(int fd) {
  const std::lock_guard lock(syncedMutex);
  synced.push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)));
  return ::fsync(fd);
}

int fchmodatWithProc(int dirfd, const char* name, mode_t mode, int flags) {
  errno = EOPNOTSUPP;
  return procIsHidden && (flags & AT_SYMLINK_NOFOLLOW) != 0 ? -1
                                                            : ::fchmodat(dirfd, name, mode, flags);
}

int fchmodat2WithProc(int dirfd, const char* name, mode_t mode, int flags) {
  errno = ENOSYS;
  return procIsHidden ? -1 : ox::kernel::fchmodat2(dirfd, name, mode, flags);
}

}  // namespace

namespace ox::test {

ObservedSystem::ObservedSystem() {
  resetAll();
}

ObservedSystem::~ObservedSystem() {
  resetAll();
}

int ObservedSystem::count() const {
  return anyCall.count;
}

int ObservedSystem::count(Call call) const {
  return observationOf(call).count;
}

void ObservedSystem::fail(Call call, int error, int nth) {
  Observation& observation = observationOf(call);
  observation.error = error;
  observation.failAt = nth == 0 ? 0 : observation.count + nth;
}

void ObservedSystem::failNth(int nth, int error) {
  anyCall.error = error;
  anyCall.failAt = anyCall.count + nth;
}

void ObservedSystem::interruptEach(int times) {
  interruptions = times;
}

std::vector<std::string> ObservedSystem::syncedPaths() const {
  return synced;
}

void ObservedSystem::hideProc() {
  procIsHidden = true;
}

void ObservedSystem::hideEntryTypes() {
  entryTypesAreHidden = true;
}

void ObservedSystem::before(Call call, std::function<void()> action) {
  observationOf(call).before = std::move(action);
}

void ObservedSystem::answerExistence(std::function<bool(std::string_view)> exists) {
  existence = std::move(exists);
}

}  // namespace ox::test

namespace ox {

static_assert(sizeof(System) == static_cast<std::size_t>(Call::callCount) * sizeof(void (*)()),
              "every call is observed");

constinit const System sys{
    .fstat = {observe<Call::fstat, ::fstat>},
    .fstatat = {observe<Call::fstatat, diskOrAnswer>},
    .statx = {observe<Call::statx,
                      kernel::call<SYS_statx, int, int, const char*, int, unsigned, void*>>},
    .mkdirat = {observe<Call::mkdirat, ::mkdirat>},
    .mkdtemp = {observe<Call::mkdtemp, ::mkdtemp>},
    .realpath = {observe<Call::realpath, ::realpath>},
    .readlink = {observe<Call::readlink, ::readlink>},
    .openat = {observe<Call::openat, openatWithCloseOnExec>},
    .read = {observe<Call::read, ::read>},
    .write = {observe<Call::write, ::write>},
    .poll = {observe<Call::poll, ::poll>},
    .getdents = {observe<Call::getdents, getdentsOrHideTypes>},
    .fsync = {observe<Call::fsync, noteAndSync>},
    .unlinkat = {observe<Call::unlinkat, ::unlinkat>},
    .renameat = {observe<Call::renameat, ::renameat>},
    .renameat2 = {observe<Call::renameat2, kernel::renameat2>},
    .fchmod = {observe<Call::fchmod, ::fchmod>},
    .fchmodat = {observe<Call::fchmodat, fchmodatWithProc>},
    .fchmodat2 = {observe<Call::fchmodat2, fchmodat2WithProc>},
    .getpwuid = {observe<Call::getpwuid, kernel::getpwuid>},
    .close = observe<Call::close, ::close>,
    .dlopen = observe<Call::dlopen, ::dlopen>,
    .getcwd = observe<Call::getcwd, ::getcwd>,
    .lseek = observe<Call::lseek, ::lseek>,
};

}  // namespace ox
