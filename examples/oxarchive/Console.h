#pragma once

#include <string>

#include "ProgressBar.h"

namespace oxarchive {

// What the program says: results on standard output, everything else on standard error. All texts
// are printable already.
class Console {
 public:
  Console();

  // One line of results. Throws std::system_error when it cannot be written.
  void result(const std::string& text);

  // "oxarchive: TEXT". Does not fail: there is nowhere else to say it.
  void message(const std::string& text);

  ProgressBar& progress() { return progress_; }

 private:
  ProgressBar progress_;
};

}  // namespace oxarchive
