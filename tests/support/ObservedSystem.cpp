#include "support/ObservedSystem.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/files/System.h"

namespace {

using ox::test::Call;

struct Observation {
  std::atomic<int> count{0};
  std::atomic<int> failAt{-1};  // 0: every call
  std::atomic<int> error{0};
  std::atomic<int> tries{0};  // with interruptions
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

template <typename Result, typename RealCall>
Result observed(Call call, Result failure, RealCall realCall) {
  Observation& observation = observationOf(call);
  if (observation.before) {
    observation.before();
  }
  if (isInterruptedNow(call, observation)) {
    return failure;
  }
  if (call != Call::close && failsNow(anyCall)) {
    return failure;
  }
  return failsNow(observation) ? failure : realCall();
}

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

// What is opened must not be open in a program that is started meanwhile.
void requireCloseOnExec(const char* name, int flags) {
  if ((flags & O_CLOEXEC) == 0) {
    static_cast<void>(std::fprintf(stderr, "%s was opened without O_CLOEXEC\n", name));
    std::abort();
  }
}

int diskOrAnswer(const char* path, struct ::stat* status) {
  if (!existence) {
    return ::stat(path, status);
  }
  *status = {};
  errno = ENOENT;
  return existence(path) ? 0 : -1;
}

void hideTypes(void* entries, ssize_t size) {
  for (ssize_t position = 0; position < size;) {
    auto* const entry = reinterpret_cast<dirent64*>(static_cast<char*>(entries) + position);
    entry->d_type = DT_UNKNOWN;
    position += entry->d_reclen;
  }
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

namespace ox::kernel {

int stat(const char* path, struct ::stat* status) noexcept {
  return observed(Call::stat, -1, [&] { return diskOrAnswer(path, status); });
}

int lstat(const char* path, struct ::stat* status) noexcept {
  return observed(Call::lstat, -1, [&] { return ::lstat(path, status); });
}

int fstat(int fd, struct ::stat* status) noexcept {
  return observed(Call::fstat, -1, [&] { return ::fstat(fd, status); });
}

int fstatat(int dirfd, const char* name, struct ::stat* status, int flags) noexcept {
  return observed(Call::fstatat, -1, [&] { return ::fstatat(dirfd, name, status, flags); });
}

int statx(int dirfd, const char* name, int flags, unsigned mask, struct ::statx* status) noexcept {
  return observed(Call::statx, -1, [&] { return ::statx(dirfd, name, flags, mask, status); });
}

int mkdir(const char* path, mode_t mode) noexcept {
  return observed(Call::mkdir, -1, [&] { return ::mkdir(path, mode); });
}

int mkdirat(int dirfd, const char* name, mode_t mode) noexcept {
  return observed(Call::mkdirat, -1, [&] { return ::mkdirat(dirfd, name, mode); });
}

char* mkdtemp(char* pattern) noexcept {
  return observed(Call::mkdtemp, static_cast<char*>(nullptr), [&] { return ::mkdtemp(pattern); });
}

char* realpath(const char* path, char* resolved) noexcept {
  return observed(Call::realpath, static_cast<char*>(nullptr),
                  [&] { return ::realpath(path, resolved); });
}

ssize_t readlink(const char* path, char* target, std::size_t size) noexcept {
  return observed(Call::readlink, ssize_t{-1}, [&] { return ::readlink(path, target, size); });
}

char* getcwd(char* path, std::size_t size) noexcept {
  return observed(Call::getcwd, static_cast<char*>(nullptr), [&] { return ::getcwd(path, size); });
}

int open(const char* path, int flags) noexcept {
  requireCloseOnExec(path, flags);
  return observed(Call::open, -1, [&] { return ::open(path, flags); });
}

int openat(int dirfd, const char* name, int flags, mode_t mode) noexcept {
  requireCloseOnExec(name, flags);
  return observed(Call::openat, -1, [&] { return ::openat(dirfd, name, flags, mode); });
}

int close(int fd) noexcept {
  return observed(Call::close, -1, [&] { return ::close(fd); });
}

ssize_t read(int fd, void* buffer, std::size_t size) noexcept {
  return observed(Call::read, ssize_t{-1}, [&] { return ::read(fd, buffer, size); });
}

ssize_t write(int fd, const void* bytes, std::size_t size) noexcept {
  return observed(Call::write, ssize_t{-1}, [&] { return ::write(fd, bytes, size); });
}

int poll(struct ::pollfd* waiting, nfds_t count, int timeout) noexcept {
  return observed(Call::poll, -1, [&] { return ::poll(waiting, count, timeout); });
}

ssize_t getdents(int fd, void* buffer, std::size_t size) noexcept {
  return observed(Call::getdents, ssize_t{-1}, [&] {
    const ssize_t count = ::getdents64(fd, buffer, size);
    if (entryTypesAreHidden) {
      hideTypes(buffer, count);
    }
    return count;
  });
}

int fsync(int fd) noexcept {
  return observed(Call::fsync, -1, [&] {
    const std::lock_guard lock(syncedMutex);
    synced.push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)));
    return ::fsync(fd);
  });
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return observed(Call::lseek, off_t{-1}, [&] { return ::lseek(fd, offset, whence); });
}

int unlinkat(int dirfd, const char* name, int flags) noexcept {
  return observed(Call::unlinkat, -1, [&] { return ::unlinkat(dirfd, name, flags); });
}

int renameat(int fromDirfd, const char* from, int toDirfd, const char* to) noexcept {
  return observed(Call::renameat, -1, [&] { return ::renameat(fromDirfd, from, toDirfd, to); });
}

int renameat2(int fromDirfd, const char* from, int toDirfd, const char* to,
              unsigned flags) noexcept {
  return observed(Call::renameat2, -1,
                  [&] { return ::renameat2(fromDirfd, from, toDirfd, to, flags); });
}

int fchmod(int fd, mode_t mode) noexcept {
  return observed(Call::fchmod, -1, [&] { return ::fchmod(fd, mode); });
}

int fchmodat(int dirfd, const char* name, mode_t mode, int flags) noexcept {
  return observed(Call::fchmodat, -1, [&] {
    errno = EOPNOTSUPP;
    return procIsHidden && (flags & AT_SYMLINK_NOFOLLOW) != 0
               ? -1
               : ::fchmodat(dirfd, name, mode, flags);
  });
}

int fchmodat2(int dirfd, const char* name, mode_t mode, int flags) noexcept {
  return observed(Call::fchmodat2, -1, [&] {
    errno = ENOSYS;
    constexpr long number = 452;
    return procIsHidden ? -1 : static_cast<int>(::syscall(number, dirfd, name, mode, flags));
  });
}

int getpwuid(uid_t user, struct ::passwd* entry, char* strings, std::size_t size,
             struct ::passwd** found) noexcept {
  return observed(Call::getpwuid, -1, [&] {
    errno = ::getpwuid_r(user, entry, strings, size, found);
    return errno == 0 ? 0 : -1;
  });
}

void* dlopen(const char* file, int flags) noexcept {
  return observed(Call::dlopen, static_cast<void*>(nullptr), [&] { return ::dlopen(file, flags); });
}

}  // namespace ox::kernel
