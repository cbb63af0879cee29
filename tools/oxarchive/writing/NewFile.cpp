// SPDX-License-Identifier: MIT

#include "writing/NewFile.h"

#include <OrvexKit/OXFileUtil.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <random>

#include "console/Failure.h"
#include "console/Printable.h"

namespace oxarchive {
namespace {

constexpr mode_t permissions = 0666;  // less the umask

std::string pathOfDescriptor(int fd) {
  return "/proc/self/fd/" + std::to_string(fd);
}

}  // namespace

NewFile::NewFile(const std::string& folder, Before before) : folder_(folder) {
  if (before == Before::nameless) {
    file_ = Descriptor(
        ::open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, permissions));
  }
  // Without /proc it could not be given a name.
  if (file_.isOpen() && ::access(pathOfDescriptor(file_.get()).c_str(), F_OK) != 0) {
    file_.reset();
  }
  if (!file_.isOpen()) {
    makeHidden();
  }
}

NewFile::~NewFile() {
  if (!hiddenPath_.empty()) {
    ::unlink(hiddenPath_.c_str());
  }
}

void NewFile::makeHidden() {
  std::random_device random;
  do {
    const std::string path = folder_ + ".oxarchive." + std::to_string(random());
    file_ = Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
    if (file_.isOpen()) {
      hiddenPath_ = path;
    } else if (errno != EEXIST) {
      throw ArchiveFailure(withSystemReason(
          "no file can be made in " + printable(folder_.empty() ? "." : folder_), errno));
    }
  } while (!file_.isOpen());
}

// Returns 0 or the error.
int NewFile::giveName(const std::string& path) {
  if (hiddenPath_.empty()) {
    const int result = ::linkat(AT_FDCWD, pathOfDescriptor(file_.get()).c_str(), AT_FDCWD,
                                path.c_str(), AT_SYMLINK_FOLLOW);
    return result == 0 ? 0 : errno;
  }
  if (::syscall(SYS_renameat2, AT_FDCWD, hiddenPath_.c_str(), AT_FDCWD, path.c_str(),
                RENAME_NOREPLACE) == 0) {
    hiddenPath_.clear();
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) {
    return errno;
  }
  // For file systems without RENAME_NOREPLACE. The destructor removes the hidden name.
  return ::link(hiddenPath_.c_str(), path.c_str()) == 0 ? 0 : errno;
}

std::string NewFile::publish(const std::string& name) {
  // Delayed writes may still fail.
  if (::fsync(file_.get()) != 0 && errno != EINVAL) {
    throw ArchiveFailure(withSystemReason("it cannot be written", errno));
  }
  for (;;) {
    std::string path = OXSequentiallyUniqueName(name, folder_, false).value();
    const int error = giveName(path);
    if (error == 0) {
      return path;
    }
    if (error != EEXIST) {
      throw ArchiveFailure(withSystemReason("it cannot be given its name", error));
    }
  }
}

}  // namespace oxarchive
