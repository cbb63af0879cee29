// SPDX-License-Identifier: MIT

#include "support/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <sstream>

namespace ox::test {
namespace {

[[noreturn]] void become(const ChildProcess& child, std::vector<char*>& arguments, int output) {
  for (const auto& [name, value] : child.environment) {
    if (value) {
      ::setenv(name.c_str(), value->c_str(), 1);
    } else {
      ::unsetenv(name.c_str());
    }
  }
  const bool ready = ::dup2(output, STDOUT_FILENO) >= 0 &&
                     (child.folder.empty() || ::chdir(child.folder.c_str()) == 0);
  if (ready) {
    ::execvp(child.program.c_str(), arguments.data());
  }
  ::_exit(127);
}

std::string readAll(int fd) {
  std::string text;
  std::array<char, 4096> buffer;
  ssize_t count = 0;
  while ((count = ::read(fd, buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

ChildResult run(const ChildProcess& child) {
  std::vector<std::string> words{child.program};
  words.insert(words.end(), child.arguments.begin(), child.arguments.end());
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
    return {.exitCode = 127, .output = ""};
  }
  const pid_t pid = ::fork();
  if (pid == 0) {
    become(child, arguments, pipe[1]);
  }
  ::close(pipe[1]);
  ChildResult result{.exitCode = 127, .output = readAll(pipe[0])};
  ::close(pipe[0]);
  int status = 0;
  if (pid > 0 && ::waitpid(pid, &status, 0) == pid) {
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  return result;
}

std::string outputOf(const ChildProcess& child) {
  ChildResult result = run(child);
  EXPECT_EQ(result.exitCode, 0) << child.program << ": " << result.output;
  return std::move(result.output);
}

std::vector<std::string> linesOf(const ChildProcess& child) {
  std::istringstream output(outputOf(child));
  std::vector<std::string> lines;
  for (std::string line; std::getline(output, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace ox::test
