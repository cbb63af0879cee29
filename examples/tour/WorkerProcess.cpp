// SPDX-License-Identifier: MIT

#include "tour/WorkerProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace tour {
namespace {

// Whatever its name is, and also when a newer version has taken its place on the disk.
constexpr const char* thisProgram = "/proc/self/exe";

void check(int error) {
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "cannot start a worker");
  }
}

// What the worker gets from this process: of the descriptors, the writing end of the pipe and
// standard error; no blocked signals; and SIGPIPE, which many programs with windows ignore.
class Inheritance {
 public:
  explicit Inheritance(int pipe) {
    check(::posix_spawn_file_actions_init(&files_));
    check(::posix_spawnattr_init(&attributes_));
    check(::posix_spawn_file_actions_adddup2(&files_, pipe, STDOUT_FILENO));
    check(::posix_spawn_file_actions_addopen(&files_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    check(::posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1));
    sigset_t signals;
    ::sigemptyset(&signals);
    check(::posix_spawnattr_setsigmask(&attributes_, &signals));
    ::sigaddset(&signals, SIGPIPE);
    check(::posix_spawnattr_setsigdefault(&attributes_, &signals));
    check(::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
  }
  ~Inheritance() {
    ::posix_spawn_file_actions_destroy(&files_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  Inheritance(const Inheritance&) = delete;
  Inheritance& operator=(const Inheritance&) = delete;

  pid_t start(const std::vector<char*>& arguments) const {
    pid_t process = -1;
    check(::posix_spawn(&process, thisProgram, &files_, &attributes_, arguments.data(), environ));
    return process;
  }

 private:
  posix_spawn_file_actions_t files_{};
  posix_spawnattr_t attributes_{};
};

}  // namespace

WorkerProcess::WorkerProcess(const std::vector<std::string>& arguments) {
  std::vector<std::string> copies{thisProgram, "--worker"};
  copies.insert(copies.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(copies.size() + 1);
  for (std::string& argument : copies) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);

  std::array<int, 2> ends{};
  check(::pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno);
  output_ = ends[0];
  try {
    process_ = Inheritance(ends[1]).start(pointers);
  } catch (...) {
    ::close(ends[0]);
    ::close(ends[1]);
    throw;
  }
  ::close(ends[1]);  // or the pipe would never end
}

WorkerProcess::~WorkerProcess() {
  kill();
  endsWell();
  ::close(output_);
}

void WorkerProcess::kill() const {
  // -1 would stand for every process of the user's.
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
  }
}

bool WorkerProcess::endsWell() {
  int status = -1;
  while (process_ > 0 && ::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tour
