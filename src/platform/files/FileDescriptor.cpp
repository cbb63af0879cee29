// SPDX-License-Identifier: MIT

#include "platform/files/FileDescriptor.h"

#include <poll.h>

#include <cerrno>

namespace ox {

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
    } else if (count == 0 || errno != EAGAIN) {
      error = count == 0 ? EIO : errno;
    } else {
      // `poll` also returns if the reader is gone, which the next write reports.
      pollfd waiting{.fd = fd, .events = POLLOUT, .revents = 0};
      error = errorOf(sys.poll(&waiting, 1, -1));
    }
  }
  return error;
}

}  // namespace ox
