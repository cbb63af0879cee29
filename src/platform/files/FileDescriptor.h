// SPDX-License-Identifier: MIT

// An open file descriptor that closes itself.

#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <span>
#include <utility>

#include "platform/files/System.h"

namespace ox {

class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  // Owns `fd`, the result of an opening call, or keeps the `errno` if that has just failed.
  explicit FileDescriptor(int fd) noexcept : fd_(fd), error_(errorOf(fd)) {}
  FileDescriptor(FileDescriptor&& other) noexcept { *this = std::move(other); }
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    std::swap(error_, other.error_);
    return *this;
  }
  ~FileDescriptor() {
    if (isOpen()) {
      sys.close(fd_);
    }
  }

  bool isOpen() const noexcept { return fd_ >= 0; }
  int get() const noexcept { return fd_; }
  int error() const noexcept { return error_; }  // why it is not open; 0 if it is

 private:
  int fd_ = -1;
  int error_ = EBADF;
};

// These functions return 0 or the `errno`. Interrupted calls are repeated.

// Reads at most `bytes.size()` bytes, and sets `count` to their number: 0 at the end.
int readSome(int fd, std::span<std::byte> bytes, std::size_t& count) noexcept;

// Writes all bytes, in several calls if necessary. Waits while an O_NONBLOCK descriptor is full.
int writeAll(int fd, std::span<const std::byte> bytes) noexcept;

inline int seekToStart(int fd) noexcept {
  return errorOf(sys.lseek(fd, 0, SEEK_SET));
}

inline int statusOf(int fd, struct ::stat& status) noexcept {
  return errorOf(sys.fstat(fd, &status));
}

// Returns when everything written is on disk.
inline int syncToDisk(int fd) noexcept {
  return errorOf(sys.fsync(fd));
}

}  // namespace ox
