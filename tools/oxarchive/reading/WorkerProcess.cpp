#include "reading/WorkerProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace oxarchive {
namespace {

std::string workerProgram() {
  const char* const other = std::getenv("OXARCHIVE_WORKER");
  return other != nullptr && *other != '\0' ? other : "/proc/self/exe";
}

class OutputRedirection {
 public:
  explicit OutputRedirection(int fd) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_adddup2(&actions_, fd, STDOUT_FILENO);
  }
  ~OutputRedirection() { ::posix_spawn_file_actions_destroy(&actions_); }
  OutputRedirection(const OutputRedirection&) = delete;
  OutputRedirection(OutputRedirection&&) = delete;
  OutputRedirection& operator=(const OutputRedirection&) = delete;
  OutputRedirection& operator=(OutputRedirection&&) = delete;

  const ::posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  ::posix_spawn_file_actions_t actions_{};
};

// Ends the worker, whichever program it is, when it writes to a pipe that is closed; this process
// ignores the signal.
class DefaultSignals {
 public:
  DefaultSignals() {
    ::sigset_t signals{};
    ::sigemptyset(&signals);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      ::sigaddset(&signals, signal);
    }
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
  }
  ~DefaultSignals() { ::posix_spawnattr_destroy(&attributes_); }
  DefaultSignals(const DefaultSignals&) = delete;
  DefaultSignals(DefaultSignals&&) = delete;
  DefaultSignals& operator=(const DefaultSignals&) = delete;
  DefaultSignals& operator=(DefaultSignals&&) = delete;

  const ::posix_spawnattr_t* get() const { return &attributes_; }

 private:
  ::posix_spawnattr_t attributes_{};
};

}  // namespace

WorkerProcess::WorkerProcess(const std::string& command, const std::string& archive) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
  }
  output_ = Descriptor(ends[0]);
  // Closed at the end of this function, so that the worker alone holds the writing end.
  const Descriptor input(ends[1]);
  const OutputRedirection redirection(input.get());
  const DefaultSignals signals;
  std::string program = workerProgram();
  std::string commandArgument = command;
  std::string archiveArgument = archive;
  const std::array<char*, 4> arguments{program.data(), commandArgument.data(),
                                       archiveArgument.data(), nullptr};
  const int error = ::posix_spawn(&process_, program.c_str(), redirection.get(), signals.get(),
                                  arguments.data(), ::environ);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "cannot start a process");
  }
}

WorkerProcess::~WorkerProcess() {
  if (process_ > 0) {
    kill();
    wait();
  }
}

void WorkerProcess::kill() const {
  ::kill(process_, SIGKILL);
}

WorkerEnd WorkerProcess::wait() {
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  WorkerEnd end;
  if (WIFSIGNALED(status)) {
    end.signal = WTERMSIG(status);
  } else {
    end.exitCode = WEXITSTATUS(status);
  }
  return end;
}

}  // namespace oxarchive
