#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "console/Failure.h"
#include "system/Descriptor.h"

namespace oxarchive {

// Opens a regular file for reading and fills `status`. Throws ArchiveFailure, whose text calls the
// file `subject`, if it cannot. Never blocks, as opening a pipe would.
inline Descriptor openRegularFile(const std::string& path, const std::string& subject,
                                  struct ::stat& status) {
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
    throw ArchiveFailure(withSystemReason(subject + " cannot be opened", errno));
  }
  if (S_ISDIR(status.st_mode)) {
    throw ArchiveFailure(subject + " is a folder, not an archive");
  }
  if (!S_ISREG(status.st_mode)) {
    throw ArchiveFailure(subject + " is not a regular file");
  }
  return file;
}

}  // namespace oxarchive
