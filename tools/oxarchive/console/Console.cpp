#include "console/Console.h"

#include <unistd.h>

#include <cerrno>

#include "console/Failure.h"

namespace oxarchive {

bool writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = TEMP_FAILURE_RETRY(::write(fd, text.data(), text.size()));
    if (count < 0) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

Console::Console() : progress_(STDERR_FILENO) {}

void Console::results(std::string_view bytes) {
  progress_.clear();
  if (areResultsWritten_ && !writeAll(STDOUT_FILENO, bytes)) {
    areResultsWritten_ = false;
    message(withSystemReason("cannot write to standard output", errno));
  }
}

void Console::message(const std::string& text) {
  progress_.clear();
  writeAll(STDERR_FILENO, "oxarchive: " + text + "\n");
}

}  // namespace oxarchive
