// SPDX-License-Identifier: MIT

#include "system/WorkerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "system/Files.h"
#include "system/Interruption.h"
#include "system/Limits.h"

namespace oxarchive {
namespace {

constexpr int tick = 100;  // in milliseconds

// What the process is sent at a tick after an interruption; 0 sends nothing.
int signalAt(int ticks) {
  return ticks == 0 ? SIGTERM : ticks == 30 ? SIGKILL : 0;
}

[[noreturn]] void become(const std::function<int()>& work, pid_t parent, int output,
                         int kept) noexcept {
  // If the parent has ended already, this is now the child of another process.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  if (::getppid() != parent || ::dup2(output, STDOUT_FILENO) < 0) {
    ::_exit(1);
  }
  // What is open already could be used in any cage.
  ::close(STDIN_FILENO);
  static_cast<void>(::open("/dev/null", O_RDONLY));
  ::syscall(SYS_close_range, STDERR_FILENO + 1, kept - 1, 0);
  ::syscall(SYS_close_range, kept + 1, ~0U, 0);
  // `_exit`, so that nothing of the parent is cleaned up here.
  ::_exit(work());
}

}  // namespace

std::string WorkerEnd::reason() const {
  if (signal != 0) {
    return "the process that read it was ended by signal " + std::to_string(signal);
  }
  return exitCode == gaveUp ? "it was stopped because it made no progress" : "";
}

WorkerProcess::WorkerProcess(const std::function<int()>& work, int kept) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
  }
  output_ = Descriptor(ends[0]);
  // Closed at the end of this function, so that only the worker holds the write end.
  const Descriptor input(ends[1]);
  const pid_t parent = ::getpid();
  process_ = ::fork();
  if (process_ < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot start a process");
  }
  if (process_ == 0) {
    output_.reset();
    become(work, parent, input.get(), kept);
  }
}

WorkerProcess::~WorkerProcess() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    wait();
  }
}

void WorkerProcess::awaitInput(int fd) {
  pollfd polled{fd, POLLIN, 0};
  while (::poll(&polled, 1, tick) <= 0) {
    if (isInterrupted()) {
      ::kill(process_, signalAt(ticks_++));
    }
  }
}

std::string WorkerProcess::readAll() {
  constexpr std::size_t most = std::size_t{64} << 20U;
  std::string text;
  std::array<char, 4096> buffer{};
  while (text.size() < most) {
    awaitInput(output_.get());
    const ssize_t count =
        retried([&] { return ::read(output_.get(), buffer.data(), buffer.size()); });
    if (count <= 0) {
      break;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  output_.reset();  // a process that has more to write fails, and does not wait for a reader
  return text;
}

WorkerEnd WorkerProcess::wait() {
  // Before Linux 5.3, interruptions are no longer passed on.
  const Descriptor end(static_cast<int>(::syscall(SYS_pidfd_open, process_, 0)));
  if (end.isOpen()) {
    awaitInput(end.get());
  }
  int status = 0;
  static_cast<void>(retried([&] { return ::waitpid(process_, &status, 0); }));
  process_ = -1;
  return WIFSIGNALED(status) ? WorkerEnd{-1, WTERMSIG(status)} : WorkerEnd{WEXITSTATUS(status), 0};
}

}  // namespace oxarchive
