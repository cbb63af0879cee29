// SPDX-License-Identifier: MIT

// Measures whole programs, from start to end.

#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <vector>

namespace ox::bench {

struct ProgramRun {
  std::string output;         // its standard output
  double processorTime = 0;   // in seconds, including the kernel's
  double wallTime = 0;        // in seconds
  bool hasSucceeded = false;  // exited with status 0
};

inline double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Runs a program to its end; the first argument is searched in PATH. It inherits the environment
// and standard error.
inline ProgramRun runProgram(const std::vector<std::string>& arguments) {
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));  // posix_spawn does not change them
  }
  words.push_back(nullptr);
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  const int error = ::posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(pipe[1]);
  ProgramRun run;
  std::array<char, 4096> piece{};
  for (ssize_t count = 0; (count = ::read(pipe[0], piece.data(), piece.size())) > 0;) {
    run.output.append(piece.data(), static_cast<std::size_t>(count));
  }
  ::close(pipe[0]);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), arguments[0]);
  }
  int status = 0;
  rusage usage{};
  const bool hasEnded = ::wait4(child, &status, 0, &usage) == child;
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  run.wallTime = wall.count();
  run.processorTime = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
  run.hasSucceeded = hasEnded && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return run;
}

}  // namespace ox::bench
