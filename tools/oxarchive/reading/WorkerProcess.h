#pragma once

#include <sys/types.h>

#include <string>

#include "system/Descriptor.h"

namespace oxarchive {

// How a process ended.
struct WorkerEnd {
  int exitCode = -1;  // -1 when a signal has ended it
  int signal = 0;
};

// Another process of this program, which does one thing to one archive and writes to this one.
// OXARCHIVE_WORKER in the environment names another program to run in its place.
class WorkerProcess {
 public:
  // Runs "oxarchive COMMAND ARCHIVE". Throws std::system_error when it cannot be started.
  WorkerProcess(const std::string& command, const std::string& archive);
  // Ends the process if it still runs.
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess(WorkerProcess&&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;
  WorkerProcess& operator=(WorkerProcess&&) = delete;

  // What it writes to its standard output.
  int output() const { return output_.get(); }

  void kill() const;

  // Waits for its end; once.
  WorkerEnd wait();

 private:
  Descriptor output_;
  pid_t process_ = -1;
};

}  // namespace oxarchive
