// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "system/Files.h"

namespace oxarchive {

// A file that gets its name only when it is complete. If the program ends before, even by a signal,
// nothing is left. File systems without unnamed files (O_TMPFILE) have it under a hidden name until
// then, which remains if the program is killed.
class NewFile {
 public:
  enum class Before { nameless, hidden };

  // Creates it in `folder`, which is "" or ends in "/". Throws ArchiveFailure on failure.
  explicit NewFile(const std::string& folder, Before before = Before::nameless);
  ~NewFile();

  int descriptor() const { return file_.get(); }

  // Gives it the name `name`, or the first free name with a number, and never replaces another
  // item. Returns its path. Throws ArchiveFailure on failure.
  std::string publish(const std::string& name);

 private:
  int giveName(const std::string& path);
  void makeHidden();

  std::string folder_;
  std::string hiddenPath_;  // "" if it has none
  Descriptor file_;
};

}  // namespace oxarchive
