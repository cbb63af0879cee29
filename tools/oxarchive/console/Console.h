#pragma once

#include <string>
#include <string_view>

#include "console/ProgressBar.h"

namespace oxarchive {

// Whether all of `text` was written.
bool writeAll(int fd, std::string_view text);

// What the program says: results on standard output, everything else on standard error. All texts
// are printable already.
class Console {
 public:
  Console();

  // Results as they are. When some cannot be written the reason is told, once, and those after them
  // are left out, so that the work goes on to its proper end.
  void results(std::string_view bytes);

  // One line of results.
  void result(const std::string& text) { results(text + "\n"); }

  bool areResultsWritten() const { return areResultsWritten_; }

  // "oxarchive: TEXT". Does not fail: there is nowhere else to say it.
  void message(const std::string& text);

  ProgressBar& progress() { return progress_; }

 private:
  ProgressBar progress_;
  bool areResultsWritten_ = true;
};

}  // namespace oxarchive
