#pragma once

#include <string>
#include <string_view>

#include "console/ProgressBar.h"

namespace oxarchive {

// Returns whether all of `text` was written.
bool writeAll(int fd, std::string_view text);

// The program's output: results on standard output, everything else on standard error. The caller
// makes texts printable.
class Console {
 public:
  Console();

  // Writes results unchanged. If that fails, reports the reason once and drops all further results,
  // so that the work is still completed.
  void results(std::string_view bytes);

  // One line of results.
  void result(const std::string& text) { results(text + "\n"); }

  bool areResultsWritten() const { return areResultsWritten_; }

  // Writes "oxarchive: TEXT". Ignores failures, since there is nowhere to report them.
  void message(const std::string& text);

  ProgressBar& progress() { return progress_; }

 private:
  ProgressBar progress_;
  bool areResultsWritten_ = true;
};

}  // namespace oxarchive
