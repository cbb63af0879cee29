// SPDX-License-Identifier: MIT

#include "system/Cage.h"

#include <asm/termbits.h>
#include <fcntl.h>
#include <iconv.h>
#include <linux/landlock.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <memory>

#include "system/Files.h"

namespace oxarchive {
namespace {

// Sanitizers reserve more address space than any limit allows.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool isMemoryLimited = false;
#elif defined(__has_feature)
constexpr bool isMemoryLimited = !__has_feature(address_sanitizer);
#else
constexpr bool isMemoryLimited = true;
#endif

// Ignores a path that does not exist, such as "".
void allow(int rules, const std::string& path, std::uint64_t access) {
  const Descriptor item(::open(path.c_str(), O_PATH | O_CLOEXEC));
  const landlock_path_beneath_attr rule{.allowed_access = access, .parent_fd = item.get()};
  ::syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
}

void confineToFiles(const Cage& cage) {
  const long version =
      ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  // Version 1 forbids all hard links between folders.
  if (version < (cage.writableFolder.empty() ? 1 : 2)) {
    return;
  }
  // All access rights that this version handles: those of version 1, then linking and renaming
  // between folders (2), truncation (3), and device control (5).
  const unsigned bits = version >= 5 ? 16 : version >= 3 ? 15 : version >= 2 ? 14 : 13;
  landlock_ruleset_attr attributes{};
  attributes.handled_access_fs = (std::uint64_t{1} << bits) - 1;
  const Descriptor rules(
      static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  for (const std::string& file : cage.readableFiles) {
    allow(rules.get(), file, LANDLOCK_ACCESS_FS_READ_FILE);
  }
  allow(rules.get(), cage.listableFolder, LANDLOCK_ACCESS_FS_READ_DIR);
  constexpr std::uint64_t unneeded = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                                     LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
                                     LANDLOCK_ACCESS_FS_MAKE_SOCK | std::uint64_t{1} << 15U;
  allow(rules.get(), cage.writableFolder, attributes.handled_access_fs & ~unneeded);
  ::syscall(SYS_landlock_restrict_self, rules.get(), 0);
}

// For all processors; a call that a processor lacks is ignored. Sanitizers examine memory by a
// pipe.
constexpr std::initializer_list<const char*> allowedCalls = {
    // Files.
    "access", "close", "dup", "faccessat", "faccessat2", "fadvise64", "fadvise64_64", "fstat",
    "fstat64", "fstatat64", "getcwd", "getdents", "getdents64", "_llseek", "lseek", "lstat",
    "lstat64", "newfstatat", "pipe", "pipe2", "poll", "ppoll", "ppoll_time64", "pread64", "read",
    "readlink", "readlinkat", "readv", "stat", "stat64", "statx", "write", "writev",
    // Memory.
    "brk", "madvise", "mremap", "munmap",
    // The process itself.
    "clock_getres", "clock_gettime", "clock_gettime64", "clock_nanosleep", "exit", "exit_group",
    "futex", "futex_time64", "getegid", "getegid32", "geteuid", "geteuid32", "getgid", "getgid32",
    "getpid", "getppid", "getrandom", "gettid", "gettimeofday", "getuid", "getuid32",
    "restart_syscall", "rt_sigaction", "rt_sigprocmask", "rt_sigreturn", "sched_yield",
    "sigaltstack", "sigreturn", "time", "umask"};

using Filter = std::unique_ptr<void, void (*)(void*)>;

// With a condition, the calls are allowed only with such an argument.
template <typename... Condition>
void allowCalls(const Filter& filter, std::initializer_list<const char*> names,
                const Condition&... condition) {
  for (const char* const name : names) {
    ::seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, ::seccomp_syscall_resolve_name(name),
                       sizeof...(condition), condition...);
  }
}

// Other calls fail with ENOSYS, as if the kernel lacked them: the C library falls back for newer
// ones.
void confineToCalls(bool isWriting) {
  const Filter filter(::seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), ::seccomp_release);
  if (!filter) {
    return;
  }
  allowCalls(filter, allowedCalls);
  const auto self = static_cast<scmp_datum_t>(::getpid());
  allowCalls(filter, {"kill", "tgkill"}, scmp_arg_cmp{0, SCMP_CMP_EQ, self, 0});
  // F_DUPFD, F_GETFD, F_SETFD and F_GETFL; with F_SETOWN, a file could signal another process.
  allowCalls(filter, {"fcntl", "fcntl64"}, scmp_arg_cmp{1, SCMP_CMP_LE, F_GETFL, 0});
  allowCalls(filter, {"fcntl", "fcntl64"}, scmp_arg_cmp{1, SCMP_CMP_EQ, F_DUPFD_CLOEXEC, 0});
  // Before version 3 of Landlock, opening a file for reading could also empty it.
  const scmp_datum_t refused = isWriting ? O_TRUNC : O_TRUNC | O_CREAT | O_ACCMODE;
  allowCalls(filter, {"open"}, scmp_arg_cmp{1, SCMP_CMP_MASKED_EQ, refused, 0});
  allowCalls(filter, {"openat"}, scmp_arg_cmp{2, SCMP_CMP_MASKED_EQ, refused, 0});
  // Reading a terminal's settings is allowed; faking keyboard input (TIOCSTI) is not.
  allowCalls(filter, {"ioctl"}, scmp_arg_cmp{1, SCMP_CMP_EQ, TCGETS, 0});
  allowCalls(filter, {"ioctl"}, scmp_arg_cmp{1, SCMP_CMP_EQ, TIOCGWINSZ, 0});
  // No memory becomes executable.
  allowCalls(filter, {"mmap", "mmap2", "mprotect"},
             scmp_arg_cmp{2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0});
  if (isWriting) {
    // Landlock restricts neither modes nor times. By name, a mode only becomes a private one.
    allowCalls(filter, {"fchmod", "ftruncate", "ftruncate64", "linkat", "mkdirat", "pwrite64",
                        "symlinkat", "unlinkat", "utimensat", "utimensat_time64"});
    allowCalls(filter, {"fchmodat"}, scmp_arg_cmp{2, SCMP_CMP_EQ, S_IRUSR | S_IWUSR, 0});
  }
  ::seccomp_load(filter.get());
}

}  // namespace

void enterCage(const Cage& cage) {
  // Load now what the C library would load on demand: the time zone, and the conversion tables for
  // names in LHA and other archives. Without TZ it would check the zone file at each conversion.
  ::setenv("TZ", ":/etc/localtime", 0);
  ::tzset();
  for (const char* const charset : {"CP932", "UTF-16LE", "UTF-16BE"}) {
    static_cast<void>(::iconv_open("UTF-8", charset));
    static_cast<void>(::iconv_open(charset, "UTF-8"));
  }
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  confineToFiles(cage);
  const rlimit noCore{0, 0};
  ::setrlimit(RLIMIT_CORE, &noCore);
  // Also keeps core dumps from a program that collects them.
  ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
  if (isMemoryLimited && cage.memory > 0) {
    const rlimit limit{static_cast<rlim_t>(cage.memory), static_cast<rlim_t>(cage.memory)};
    ::setrlimit(RLIMIT_AS, &limit);
  }
  confineToCalls(!cage.writableFolder.empty());
}

}  // namespace oxarchive
