// SPDX-License-Identifier: MIT

// Open files and folders.

#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "console/Failure.h"
#include "console/Printable.h"

namespace oxarchive {

// The result of a system call, which is repeated while a signal interrupts it.
auto retried(auto call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

// Owns a descriptor of an open file or folder.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool isOpen() const { return fd_ >= 0; }
  int get() const { return fd_; }

  // Closes it now. Returns false if written data may be lost.
  bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

  void reset() {
    if (isOpen()) {
      close();
    }
  }

 private:
  int fd_ = -1;
};

// A regular file that is open for reading.
struct RegularFile {
  Descriptor descriptor;
  struct ::stat status {};

  std::uint64_t size() const { return static_cast<std::uint64_t>(status.st_size); }
};

// Throws ArchiveFailure, whose text calls the file `subject`, if it cannot be opened. Never blocks,
// as opening a pipe would.
inline RegularFile openRegularFile(const std::string& path, const std::string& subject) {
  RegularFile file{Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))};
  if (!file.descriptor.isOpen() || ::fstat(file.descriptor.get(), &file.status) != 0) {
    throw ArchiveFailure(withSystemReason(subject + " cannot be opened", errno));
  }
  if (S_ISDIR(file.status.st_mode)) {
    throw ArchiveFailure(subject + " is a folder, not an archive");
  }
  if (!S_ISREG(file.status.st_mode)) {
    throw ArchiveFailure(subject + " is not a regular file");
  }
  return file;
}

// Opens a folder and never follows a symbolic link in its place.
inline constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// An open listing of a folder; null if it cannot be read.
using FolderStream = std::unique_ptr<DIR, int (*)(DIR*)>;

// Lists the folder at `path` in the open folder `parent`, or this folder itself. Null, with the
// reason in `errno`, if it cannot be read.
inline FolderStream listFolder(int parent, const std::string& path = ".") {
  const int folder = ::openat(parent, path.c_str(), folderFlags);
  return {folder >= 0 ? ::fdopendir(folder) : nullptr, ::closedir};
}

// The next name in a listing that is not null, except "." and "..", valid until the next call. Null
// at the end, with `errno` 0, or on an error, with `errno` set.
inline const char* nextName(const FolderStream& stream) {
  for (;;) {
    errno = 0;
    const dirent* const item = ::readdir(stream.get());
    if (item == nullptr) {
      return nullptr;
    }
    const char* const name = item->d_name;
    if (name != std::string_view(".") && name != std::string_view("..")) {
      return name;
    }
  }
}

// Throws ArchiveFailure with the reason if the temporary folder is not writable; neither the
// library nor libarchive reports it.
inline void checkTemporaryFolder() {
  const char* const chosen = std::getenv("TMPDIR");
  const std::string folder = chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
  std::string probe = folder + "/oxarchive.XXXXXX";
  if (::mkdtemp(probe.data()) == nullptr) {
    throw ArchiveFailure(
        withSystemReason("no temporary folder can be made in " + printable(folder), errno));
  }
  ::rmdir(probe.c_str());
}

}  // namespace oxarchive
