#include "WorkerProcess.h"

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
  std::string program = workerProgram();
  std::string commandArgument = command;
  std::string archiveArgument = archive;
  const std::array<char*, 4> arguments{program.data(), commandArgument.data(),
                                       archiveArgument.data(), nullptr};
  const int error = ::posix_spawn(&process_, program.c_str(), redirection.get(), nullptr,
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
