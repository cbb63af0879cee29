// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "system/Uncopied.h"

namespace oxarchive {

// Returns whether all of `text` was written.
bool writeAll(int fd, std::string_view text);

// The program's output: results on standard output, messages and progress on standard error. The
// caller makes texts printable.
class Console : Uncopied {
 public:
  Console();
  ~Console() { clearProgress(); }

  // Writes results unchanged. If that fails, reports the reason once and drops all further results,
  // so that the work is still completed.
  void results(std::string_view bytes);

  // One line of results.
  void result(const std::string& text) { results(text + "\n"); }

  bool areResultsWritten() const { return areResultsWritten_; }

  // Writes "oxarchive: TEXT". Ignores failures, since there is nowhere to report them.
  void message(const std::string& text);

  // Shows `done` of `total` for `label` in a line at the bottom of the terminal, which is redrawn
  // in place. Writes nothing if standard error is not a terminal, or one that cannot return to the
  // start of a line. May be called often: it redraws only a few times a second.
  void showProgress(const std::string& label, std::uint64_t done, std::uint64_t total);

  // Clears that line for other output.
  void clearProgress();

  // Clears the line, also if another process has drawn it.
  void clearAnyProgress();

 private:
  bool areResultsWritten_ = true;
  bool canRedraw_;
  bool isProgressShown_ = false;
  std::chrono::steady_clock::time_point nextProgress_;
};

}  // namespace oxarchive
