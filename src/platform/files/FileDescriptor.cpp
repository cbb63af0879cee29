#include "platform/files/FileDescriptor.h"

#include <poll.h>

#include <cerrno>

namespace ox {
namespace {

// Waits until `fd` takes bytes again. An end that is gone counts as taking them: the write tells.
int waitUntilWritable(int fd) noexcept {
  pollfd waiting{.fd = fd, .events = POLLOUT, .revents = 0};
  return errorOf(sys.poll(&waiting, 1, -1));
}

}  // namespace

int readSome(int fd, std::span<std::byte> bytes, std::size_t& count) noexcept {
  const ssize_t result = sys.read(fd, bytes.data(), bytes.size());
  count = result > 0 ? static_cast<std::size_t>(result) : 0;
  return errorOf(result);
}

int writeAll(int fd, std::span<const std::byte> bytes) noexcept {
  int error = 0;
  while (error == 0 && !bytes.empty()) {
    const ssize_t count = sys.write(fd, bytes.data(), bytes.size());
    if (count > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    } else {
      error = count == 0 ? EIO : errno;
      error = error == EAGAIN ? waitUntilWritable(fd) : error;
    }
  }
  return error;
}

}  // namespace ox
