// SPDX-License-Identifier: MIT

#include "Program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>

namespace ox::test {
namespace {

struct Channel {
  int readEnd = -1;
  int writeEnd = -1;
};

Channel makePipe() {
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  return {ends[0], ends[1]};
}

Channel makeTerminal() {
  Channel terminal;
  winsize size{};
  size.ws_col = 80;
  size.ws_row = 24;
  EXPECT_EQ(::openpty(&terminal.readEnd, &terminal.writeEnd, nullptr, nullptr, &size), 0);
  ::fcntl(terminal.readEnd, F_SETFD, FD_CLOEXEC);
  ::fcntl(terminal.writeEnd, F_SETFD, FD_CLOEXEC);
  return terminal;
}

[[noreturn]] void execute(const std::string& program, const std::vector<std::string>& arguments,
                          const ProgramOptions& options, const Channel& output,
                          const Channel& errors) {
  resetSignals();
  ::dup2(output.writeEnd, STDOUT_FILENO);
  ::dup2(errors.writeEnd, STDERR_FILENO);
  if (!options.folder.empty() && ::chdir(options.folder.c_str()) != 0) {
    ::_exit(126);
  }
  if (options.beforeExec) {
    options.beforeExec();
  }
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  ::execvp(program.c_str(), argv.data());
  ::_exit(127);
}

// Until the child has closed both.
void readBoth(int output, int errors, ProgramResult& result) {
  std::array<pollfd, 2> polled{{{output, POLLIN, 0}, {errors, POLLIN, 0}}};
  const std::array<std::string*, 2> texts{&result.output, &result.errors};
  std::size_t openCount = polled.size();
  while (openCount > 0 && (::poll(polled.data(), polled.size(), -1) >= 0 || errno == EINTR)) {
    for (std::size_t i = 0; i < polled.size(); ++i) {
      if (polled.at(i).fd < 0 || polled.at(i).revents == 0) {
        continue;
      }
      std::array<char, 65536> buffer{};
      const ssize_t count = ::read(polled.at(i).fd, buffer.data(), buffer.size());
      if (count > 0) {
        texts.at(i)->append(buffer.data(), static_cast<std::size_t>(count));
      } else if (count == 0 || errno != EINTR) {
        polled.at(i).fd = -1;  // a terminal reports an error at the end
        --openCount;
      }
    }
  }
}

}  // namespace

// Background jobs of a shell and programs under `nohup` ignore some signals.
void resetSignals() {
  for (int signal = 1; signal < NSIG; ++signal) {
    static_cast<void>(::signal(signal, SIG_DFL));
  }
  sigset_t none{};
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const ProgramOptions& options) {
  const Channel output = makePipe();
  const Channel errors = options.errorsOnTerminal ? makeTerminal() : makePipe();
  const pid_t child = ::fork();
  if (child == 0) {
    execute(program, arguments, options, output, errors);
  }
  ::close(output.writeEnd);
  ::close(errors.writeEnd);
  if (options.whileRunning) {
    options.whileRunning(child);
  }
  ProgramResult result;
  readBoth(output.readEnd, errors.readEnd, result);
  ::close(output.readEnd);
  ::close(errors.readEnd);
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  if (WIFEXITED(status)) {
    result.exitCode = WEXITSTATUS(status);
  } else {
    result.signal = WTERMSIG(status);
  }
  return result;
}

ProgramResult oxarchive(const std::vector<std::string>& arguments, const ProgramOptions& options) {
  ProgramOptions withSanitizers = options;
  withSanitizers.beforeExec = [&options] {
    // A sanitizer's error must not look like a failed archive.
    ::setenv("ASAN_OPTIONS", "exitcode=99", 1);
    ::setenv("UBSAN_OPTIONS", "exitcode=99", 1);
    if (options.beforeExec) {
      options.beforeExec();
    }
  };
  return runProgram(OXARCHIVE_PROGRAM, arguments, withSanitizers);
}

bool hasTerminals() {
  Channel terminal;
  if (::openpty(&terminal.readEnd, &terminal.writeEnd, nullptr, nullptr, nullptr) != 0) {
    return false;
  }
  ::close(terminal.readEnd);
  ::close(terminal.writeEnd);
  return true;
}

std::string findProgram(const std::vector<std::string>& names) {
  const char* const path = std::getenv("PATH");
  for (const std::string& name : names) {
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
      std::string candidate = folder;
      candidate.append("/").append(name);
      if (::access(candidate.c_str(), X_OK) == 0) {
        return candidate;
      }
    }
  }
  return "";
}

}  // namespace ox::test
