#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "system/Uncopied.h"

namespace oxarchive {

// A line at the bottom of a terminal that is redrawn in place. Writes nothing if `fd` is not a
// terminal, or one that cannot return to the start of a line.
class ProgressBar : Uncopied {
 public:
  explicit ProgressBar(int fd);
  ~ProgressBar() { clear(); }

  // Shows `done` of `total` for `label`. May be called often: it redraws only a few times a second.
  void show(const std::string& label, std::uint64_t done, std::uint64_t total);

  // Clears the line for other output.
  void clear();

  // Clears the line, also if another process has drawn it.
  void clearAll();

 private:
  int fd_;
  bool isUsable_;
  bool isShown_ = false;
  std::chrono::steady_clock::time_point nextTime_;
};

}  // namespace oxarchive
