// SPDX-License-Identifier: MIT

// A worker: this program, started once more to do one thing and report on it.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tour {

// A worker process, and the pipe that its reports come through. Used by one thread at a time, apart
// from `kill`.
class WorkerProcess {
 public:
  // Starts this program with "--worker" and `arguments`. Throws std::system_error when that fails.
  explicit WorkerProcess(const std::vector<std::string>& arguments);

  // Kills the worker if it still runs.
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  // Where the worker's reports are to be read. It stays open as long as this object.
  int output() const { return output_; }

  // Gives up: the pipe ends wherever the worker is. Any thread may call it, but not while another
  // is in `endsWell` or the destructor.
  void kill() const;

  // Waits for the worker's end, once. Returns whether it has done all that it should.
  bool endsWell();

 private:
  int output_ = -1;
  pid_t process_ = -1;
};

}  // namespace tour
