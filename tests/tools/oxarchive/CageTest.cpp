// SPDX-License-Identifier: MIT

// Tries, inside the cage, what a process that reads an untrusted archive must not be able to do.

#include "system/Cage.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/landlock.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>

#include "support/Sanitizers.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;
using oxarchive::Cage;

class CageTest : public TemporaryFolderTest {
 protected:
  void SetUp() override {
    writeFile(in("archive"), "bytes");
    writeFile(in("secret"), "untouched");
    ASSERT_EQ(::mkdir(in("new").c_str(), 0700), 0);
  }
  void TearDown() override {
    removeOne(in("archive"));
    removeOne(in("secret"));
    removeOne(in("new"));
    TemporaryFolderTest::TearDown();
  }

  Cage cage() const {
    return {.readableFiles = {in("archive")},
            .writableFolder = in("new"),
            .memory = std::uint64_t{2} << 30U};
  }

  // Whether `attempt` succeeds in a child process, inside or outside of a cage.
  static bool succeeds(const std::function<bool()>& attempt, const Cage* cage) {
    const pid_t child = ::fork();
    if (child == 0) {
      if (cage != nullptr) {
        oxarchive::enterCage(*cage);
      }
      ::_exit(attempt() ? 42 : 0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) && WEXITSTATUS(status) == 42;
  }
};

bool canOpen(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
  if (fd < 0) {
    return false;
  }
  ::close(fd);
  return true;
}

bool hasLandlock() {
  return ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) >= 2;
}

TEST_F(CageTest, KeepsWhatReadingAndWritingTakes) {
  const Cage own = cage();
  const std::string top = in("new");
  const std::pair<const char*, std::function<bool()>> rows[] = {
      {"read the archive", [&] { return canOpen(in("archive"), O_RDONLY); }},
      {"write, link and remove in the folder",
       [&] {
         const int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
         const int file = ::openat(folder, "f", O_CREAT | O_EXCL | O_WRONLY, 0600);
         return ::write(file, "x", 1) == 1 && ::fchmod(file, 0644) == 0 &&
                ::ftruncate(file, 0) == 0 && ::mkdirat(folder, "d", 0700) == 0 &&
                ::linkat(folder, "f", folder, "d/g", 0) == 0 &&
                ::symlinkat("/etc", folder, "l") == 0 && ::unlinkat(folder, "l", 0) == 0 &&
                ::unlinkat(folder, "d/g", 0) == 0 && ::unlinkat(folder, "d", AT_REMOVEDIR) == 0 &&
                ::unlinkat(folder, "f", 0) == 0;
       }},
      {"duplicate a descriptor",
       [&] {
         const int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
         const int other = ::fcntl(folder, F_DUPFD_CLOEXEC, 0);
         return ::fcntl(other, F_GETFD) == FD_CLOEXEC && ::fcntl(other, F_SETFD, 0) == 0 &&
                ::fcntl(other, F_GETFL) == ::fcntl(folder, F_GETFL) &&
                ::fcntl(folder, F_DUPFD, 0) >= 0;
       }},
      {"memory", [] { return std::malloc(std::size_t{100} << 20U) != nullptr; }},
      {"end itself", [] { return ::kill(::getpid(), 0) == 0; }},
  };
  for (const auto& [what, attempt] : rows) {
    EXPECT_TRUE(succeeds(attempt, &own)) << what;
  }
}

TEST_F(CageTest, IsNotBrokenOutOf) {
  struct Row {
    const char* what;
    bool needsLandlock;
    std::function<bool()> attempt;
  };
  const pid_t parent = ::getpid();
  const int shared = ::open(in("archive").c_str(), O_RDONLY | O_CLOEXEC);
  writeFile(in("new/file"), "bytes");
  int tried = 0;
  const Row rows[] = {
      {"read the user database", true, [] { return canOpen("/etc/passwd", O_RDONLY); }},
      {"read beside the archive", true, [&] { return canOpen(in("secret"), O_RDONLY); }},
      {"list the folder", true, [&] { return canOpen(work(), O_RDONLY | O_DIRECTORY); }},
      {"write the archive", true, [&] { return canOpen(in("archive"), O_WRONLY); }},
      {"write beside the folder", true,
       [&] {
         const bool isMade = canOpen(in("x"), O_CREAT | O_EXCL | O_WRONLY);
         ::unlink(in("x").c_str());
         return isMade;
       }},
      {"make a folder beside it", true,
       [&] {
         const bool isMade = ::mkdirat(AT_FDCWD, in("x").c_str(), 0700) == 0;
         ::rmdir(in("x").c_str());
         return isMade;
       }},
      {"link a secret into the folder", true,
       [&] {
         const bool isMade =
             ::linkat(AT_FDCWD, in("secret").c_str(), AT_FDCWD, in("new/secret").c_str(), 0) == 0;
         ::unlink(in("new/secret").c_str());
         return isMade;
       }},
      {"leave over a link", true,
       [&] {
         static_cast<void>(::symlinkat("/etc/passwd", AT_FDCWD, in("new/l").c_str()));
         const bool isOpen = canOpen(in("new/l"), O_RDONLY);
         ::unlinkat(AT_FDCWD, in("new/l").c_str(), 0);
         return isOpen;
       }},
      // Where it may write, so that Landlock does not refuse it.
      {"empty a file by opening it", false,
       [&] { return canOpen(in("new/file"), O_RDONLY | O_TRUNC); }},
      {"let others read the secret", false,
       [&] {
         const std::string path = in("secret");
         return ::fchmodat(AT_FDCWD, path.c_str(), 0644, 0) == 0 ||
                ::chmod(path.c_str(), 0644) == 0;
       }},
      {"open a socket", false, [] { return ::socket(AF_INET, SOCK_STREAM, 0) >= 0; }},
      {"open a local one", false, [] { return ::socket(AF_UNIX, SOCK_STREAM, 0) >= 0; }},
      {"start a process", false,
       [] {
         const pid_t child = ::fork();
         if (child == 0) {
           ::_exit(0);
         }
         return child > 0;
       }},
      {"become another program", false,
       [] {
         ::execl("/bin/sh", "sh", "-c", "exit 42", nullptr);
         return false;
       }},
      {"signal the parent", false, [parent] { return ::kill(parent, 0) == 0; }},
      {"have the parent signalled", false,
       [&] {
         return ::fcntl(shared, F_SETOWN, parent) == 0 || ::fcntl(shared, F_SETSIG, SIGKILL) == 0 ||
                ::fcntl(shared, F_SETFL, O_ASYNC) == 0;
       }},
      {"signal everybody", false, [] { return ::kill(-1, 0) == 0; }},
      {"trace the parent", false,
       [parent] {
         // If tracing others is not allowed anyway, tries being traced.
         return ::ptrace(PTRACE_SEIZE, parent, nullptr, nullptr) == 0 ||
                ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
       }},
      {"read another's memory", false,
       [parent] {
         char byte = 0;
         const iovec here{&byte, 1};
         const iovec there{&byte, 1};
         return ::process_vm_readv(parent, &here, 1, &there, 1, 0) == 1;
       }},
      {"a name space of its own", false,
       [] { return ::unshare(CLONE_NEWUSER) == 0 || ::unshare(CLONE_NEWNS) == 0; }},
      {"mount", false,
       [&] {
         return ::unshare(CLONE_NEWNS) == 0 &&
                ::mount("none", in("new").c_str(), "tmpfs", 0, nullptr) == 0;
       }},
      {"run code that it has written", false,
       [] {
         return ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC,
                       MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
       }},
      {"make memory code", false,
       [] {
         void* const page =
             ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
         return ::mprotect(page, 4096, PROT_READ | PROT_EXEC) == 0;
       }},
      {"lift its own limits", false,
       [] {
         rlimit limit{};
         ::getrlimit(RLIMIT_CORE, &limit);
         limit.rlim_cur = limit.rlim_max;
         return limit.rlim_max > 0 && ::setrlimit(RLIMIT_CORE, &limit) == 0;
       }},
      {"gain privileges", false, [] { return ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 0; }},
  };
  const Cage own = cage();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    if (row.needsLandlock && !hasLandlock()) {
      continue;
    }
    // If it fails outside of the cage, the test proves nothing.
    if (succeeds(row.attempt, nullptr)) {
      EXPECT_FALSE(succeeds(row.attempt, &own));
      ++tried;
    }
  }
  EXPECT_GE(tried, hasLandlock() ? 18 : 10);
  ::close(shared);
  removeOne(in("new/file"));
}

TEST_F(CageTest, ChangesNothingWithoutAFolder) {
  const std::string archive = in("archive");
  const std::string secret = in("secret");
  const auto fileAt = [](const std::string& path) { return ::open(path.c_str(), O_RDONLY); };
  // Whether no more than Landlock, whose error is another one, refuses it.
  const auto passesTheFilter = [](const std::string& path, int flags) {
    return canOpen(path, flags) || errno != ENOSYS;
  };
  const std::pair<const char*, std::function<bool()>> rows[] = {
      {"chmod the secret", [&] { return ::fchmodat(AT_FDCWD, secret.c_str(), 0600, 0) == 0; }},
      {"chmod the archive", [&] { return ::fchmod(fileAt(archive), 0600) == 0; }},
      {"date the secret", [&] { return ::utimensat(AT_FDCWD, secret.c_str(), nullptr, 0) == 0; }},
      {"date the archive", [&] { return ::futimens(fileAt(archive), nullptr) == 0; }},
      {"open the secret for writing", [&] { return passesTheFilter(secret, O_WRONLY); }},
      {"open it for reading and writing", [&] { return passesTheFilter(secret, O_RDWR); }},
      {"create a file", [&] { return passesTheFilter(secret, O_RDONLY | O_CREAT); }},
  };
  const Cage reading{.readableFiles = {archive}};
  for (const auto& [what, attempt] : rows) {
    EXPECT_TRUE(succeeds(attempt, nullptr)) << what;
    EXPECT_FALSE(succeeds(attempt, &reading)) << what;
  }
}

TEST_F(CageTest, ListsAFolderWithoutReadingItsFiles) {
  if (!hasLandlock()) {
    GTEST_SKIP() << "the kernel has no Landlock";
  }
  const Cage search{.readableFiles = {in("archive"), in("missing")}, .listableFolder = work()};
  EXPECT_TRUE(succeeds([&] { return canOpen(work(), O_RDONLY | O_DIRECTORY); }, &search));
  EXPECT_TRUE(succeeds([&] { return canOpen(in("archive"), O_RDONLY); }, &search));
  EXPECT_FALSE(succeeds([&] { return canOpen(in("secret"), O_RDONLY); }, &search));
}

// The files in /proc of a process that leaves no core dump belong to root.
TEST_F(CageTest, LeavesNoCoreDump) {
  const auto isInspectable = [] {
    struct ::stat status {};
    return ::stat("/proc/self/environ", &status) == 0 && status.st_uid != 0;
  };
  const Cage own = cage();
  const auto isInspectableIn = [&](const Cage* cage) {
    return succeeds(
        [&] {
          constexpr uid_t nobody = 65534;
          static_cast<void>(::setuid(::getuid() == 0 ? nobody : ::getuid()));
          ::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
          if (cage != nullptr) {
            oxarchive::enterCage(*cage);
          }
          return isInspectable();
        },
        nullptr);
  };
  if (!isInspectableIn(nullptr)) {
    GTEST_SKIP() << "there is no user but root";
  }
  EXPECT_FALSE(isInspectableIn(&own));
}

TEST_F(CageTest, HasNoMoreMemoryThanIsAllowed) {
  if (ox::test::hasAddressSanitizer) {
    GTEST_SKIP() << "the sanitizers reserve more than any limit";
  }
  const auto allocate = [] { return std::malloc(std::size_t{3} << 29U) != nullptr; };
  Cage own = cage();
  EXPECT_TRUE(succeeds(allocate, &own));
  own.memory = std::uint64_t{1} << 30U;
  EXPECT_FALSE(succeeds(allocate, &own));
}

}  // namespace
