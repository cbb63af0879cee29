#pragma once

#include <string>

#include "system/Descriptor.h"
#include "system/Uncopied.h"

namespace oxarchive {

// A file that is written before it has its name, so that nobody ever sees a part of it: when the
// program ends before, by whatever, nothing of it is left. On file systems that have no files
// without a name it has a hidden one meanwhile, which a killed program leaves behind.
class NewFile : Uncopied {
 public:
  enum class Before { nameless, hidden };

  // In `folder`, which is "" or ends with "/". Throws ArchiveFailure when it cannot be made.
  explicit NewFile(const std::string& folder, Before before = Before::nameless);
  ~NewFile();

  int descriptor() const { return file_.get(); }

  // Gives it the name `name`, or the first one with a number that is free, and never one that
  // something else has got meanwhile. The path that it has then. Throws ArchiveFailure.
  std::string publish(const std::string& name);

 private:
  int giveName(const std::string& path);
  void makeHidden();

  std::string folder_;
  std::string hiddenPath_;  // empty when there is none
  Descriptor file_;
};

}  // namespace oxarchive
