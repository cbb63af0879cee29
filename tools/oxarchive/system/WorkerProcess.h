// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "system/Files.h"

namespace oxarchive {

// The exit code of a process that has reported why it failed.
inline constexpr int failureTold = 114;

// How a process ended.
struct WorkerEnd {
  int exitCode = -1;  // -1 if a signal ended it
  int signal = 0;

  // Why the process ended before its work did; "" if it did not.
  std::string reason() const;
};

// A child process for one task, which sends its output to this one. It never outlives this process,
// even if that is killed.
class WorkerProcess {
 public:
  // Runs `work` in the child, with standard output to `output()`; its result is the exit code. Its
  // standard input is empty, and of the other open files it has only standard error and `kept`.
  // Throws std::system_error if no process can be started.
  explicit WorkerProcess(const std::function<int()>& work, int kept = STDERR_FILENO);
  // Kills the process if it still runs.
  ~WorkerProcess();

  // The read end of the child's standard output.
  int output() const { return output_.get(); }

  // Everything that it writes, up to a size limit. Here and in `wait`, an interruption is passed on
  // to the process, which is killed if it does not end soon.
  std::string readAll();

  // Waits for its end. Call once.
  WorkerEnd wait();

 private:
  void awaitInput(int fd);

  Descriptor output_;
  pid_t process_ = -1;
  int ticks_ = 0;  // since an interruption
};

}  // namespace oxarchive
