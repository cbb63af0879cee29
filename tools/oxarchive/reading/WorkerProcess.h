#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "system/Descriptor.h"
#include "system/Uncopied.h"

namespace oxarchive {

// The exit code of a process that has told why it failed.
inline constexpr int failureTold = 114;

// How a process ended.
struct WorkerEnd {
  int exitCode = -1;  // -1 when a signal has ended it
  int signal = 0;

  // Why the process was ended by something else than its work; "" when it was not.
  std::string reason() const;
};

// A process of its own that does one thing, and writes to this one. It never outlives this process,
// however that ends.
class WorkerProcess : Uncopied {
 public:
  // Does `work` there, with standard output to `output()`; what it returns is the exit code. Throws
  // std::system_error when no process can be started.
  explicit WorkerProcess(const std::function<int()>& work);
  // Ends the process if it still runs.
  ~WorkerProcess();

  // What it writes to its standard output.
  int output() const { return output_.get(); }

  // All that it writes, as far as this is not beyond reason. An interruption is passed on, and ends
  // the process a little later if it does not end by itself.
  std::string readAll();

  // Waits for its end; once.
  WorkerEnd wait();

 private:
  void passOnInterruption();

  Descriptor output_;
  pid_t process_ = -1;
  int ticksSinceInterruption_ = 0;
};

}  // namespace oxarchive
