// SPDX-License-Identifier: MIT

// What the processes that read archives have from their parent, and how it ends them.

#include "system/WorkerProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>

#include "system/Interruption.h"
#include "system/Limits.h"

namespace {

using oxarchive::WorkerEnd;
using oxarchive::WorkerProcess;

bool isOpen(int fd) {
  return ::fcntl(fd, F_GETFD) >= 0;
}

TEST(WorkerProcess, HasOnlyTheOpenFilesOfItsJob) {
  if (::syscall(SYS_close_range, ~0U, ~0U, 0) != 0) {
    GTEST_SKIP() << "the kernel cannot close a range of files";
  }
  const int before = ::open("/dev/zero", O_RDWR);
  const int kept = ::open("/dev/zero", O_RDWR);
  const int after = ::open("/dev/zero", O_RDWR);
  ASSERT_GT(before, STDERR_FILENO);
  ASSERT_GE(after, 0);
  const int input = ::dup(STDIN_FILENO);
  ::dup2(before, STDIN_FILENO);
  const auto openFiles = [&] {
    char byte = 0;
    return (isOpen(STDOUT_FILENO) ? 1 : 0) + (isOpen(STDERR_FILENO) ? 2 : 0) +
           (isOpen(before) ? 4 : 0) + (isOpen(kept) ? 8 : 0) + (isOpen(after) ? 16 : 0) +
           (::read(STDIN_FILENO, &byte, 1) == 0 ? 0 : 32);
  };
  EXPECT_EQ(WorkerProcess(openFiles, kept).wait().exitCode, 1 + 2 + 8);
  EXPECT_EQ(WorkerProcess(openFiles).wait().exitCode, 1 + 2);
  ::dup2(input, STDIN_FILENO);
  for (const int fd : {before, kept, after, input}) {
    ::close(fd);
  }
}

// How a worker ends that has closed its output and goes on, after its parent was interrupted.
WorkerEnd endAfterInterruption(bool isStubborn) {
  const auto goOn = [&] {
    static_cast<void>(::signal(SIGTERM, isStubborn ? SIG_IGN : SIG_DFL));
    ::close(STDOUT_FILENO);
    ::alarm(30);  // ends it if nothing else does
    for (;;) {
      ::pause();
    }
    return 0;
  };
  WorkerProcess worker(goOn);
  worker.readAll();
  oxarchive::catchInterruptions(true);
  static_cast<void>(::raise(SIGTERM));
  return worker.wait();
}

TEST(WorkerProcess, IsInterruptedWithItsParentWhateverItDoes) {
  const int self = static_cast<int>(::syscall(SYS_pidfd_open, ::getpid(), 0));
  if (self < 0) {
    GTEST_SKIP() << "the kernel cannot wait for a process and a time";
  }
  ::close(self);
  for (const bool isStubborn : {false, true}) {
    const pid_t parent = ::fork();
    if (parent == 0) {
      ::_exit(endAfterInterruption(isStubborn).signal);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(parent, &status, 0), parent);
    EXPECT_EQ(WEXITSTATUS(status), isStubborn ? SIGKILL : SIGTERM);
  }
}

// As the manual says.
TEST(Limits, WithoutOptions) {
  const oxarchive::Limits limits;
  EXPECT_EQ(limits.memory, std::uint64_t{2} * 1024 * 1024 * 1024);
  EXPECT_EQ(limits.patience, 60U);
}

}  // namespace
