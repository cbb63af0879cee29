#include "platform/files/FileDescriptor.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace ox {
namespace {

// Waits until `fd` takes bytes again. An end that is gone counts as taking them: the write tells.
int waitUntilWritable(int fd) noexcept {
  pollfd waiting{.fd = fd, .events = POLLOUT, .revents = 0};
  return sys.poll(&waiting, 1, -1) >= 0 ? 0 : errno;
}

}  // namespace

int readSome(int fd, std::span<std::byte> bytes, std::size_t& count) noexcept {
  const ssize_t result = sys.read(fd, bytes.data(), bytes.size());
  count = result > 0 ? static_cast<std::size_t>(result) : 0;
  return result < 0 ? errno : 0;
}

int writeAll(int fd, std::span<const std::byte> bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t count = sys.write(fd, bytes.data(), bytes.size());
    if (count > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
      continue;
    }
    int error = count == 0 ? EIO : errno;
    if (error == EAGAIN) {
      error = waitUntilWritable(fd);
    }
    if (error != 0) {
      return error;
    }
  }
  return 0;
}

int seekToStart(int fd) noexcept {
  return sys.lseek(fd, 0, SEEK_SET) < 0 ? errno : 0;
}

int statusOf(int fd, struct ::stat& status) noexcept {
  return sys.fstat(fd, &status) == 0 ? 0 : errno;
}

int syncToDisk(int fd) noexcept {
  return sys.fsync(fd) == 0 ? 0 : errno;
}

}  // namespace ox
