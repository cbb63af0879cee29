#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "system/Uncopied.h"

namespace oxarchive {

// One line at the foot of a terminal that is drawn over again. Nothing is written where `fd` is no
// terminal, or one that cannot go back to the start of a line.
class ProgressBar : Uncopied {
 public:
  explicit ProgressBar(int fd);
  ~ProgressBar() { clear(); }

  // `done` of `total` for what is called `label`. May be called often: it is drawn some times a
  // second.
  void show(const std::string& label, std::uint64_t done, std::uint64_t total);

  // Gives the line back to other output.
  void clear();

  // Takes away what another process has drawn, too.
  void clearAll();

 private:
  int fd_;
  bool isUsable_;
  bool isShown_ = false;
  std::chrono::steady_clock::time_point nextTime_;
};

}  // namespace oxarchive
