#include <OrvexKit/platform/OXCBORSequence.h>
#include <poll.h>

#include <cerrno>
#include <cstring>

#include "platform/System.h"

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::size_t capacity = std::size_t{1} << 16;

// Waits until `fd` takes bytes again. An end that is gone counts as taking them: the write tells.
int waitUntilWritable(int fd) noexcept {
  pollfd waiting{.fd = fd, .events = POLLOUT, .revents = 0};
  return ox::sys::poll(&waiting, 1, -1) >= 0 || errno == EINTR ? 0 : errno;
}

// The `errno` of what went wrong, or 0.
int writeAll(int fd, Bytes bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t count = ox::sys::write(fd, bytes.data(), bytes.size());
    if (count > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
      continue;
    }
    int error = count == 0 ? EIO : errno;
    if (error == EAGAIN) {
      error = waitUntilWritable(fd);
    }
    if (error != 0 && error != EINTR) {
      return error;
    }
  }
  return 0;
}

}  // namespace

OXCBORSequenceWriter::OXCBORSequenceWriter(int fd) : fd_(fd), buffer_(capacity) {}

OXCBORSequenceWriter::~OXCBORSequenceWriter() {
  flush();
}

bool OXCBORSequenceWriter::write(Bytes item) {
  const bool isRoom = item.size() <= capacity - collected_;
  if (error_ != 0 || (!isRoom && !flush())) {
    return false;
  }
  if (item.size() > capacity) {
    error_ = writeAll(fd_, item);
  } else if (!item.empty()) {
    std::memcpy(buffer_.data() + collected_, item.data(), item.size());
    collected_ += item.size();
  }
  return error_ == 0;
}

bool OXCBORSequenceWriter::flush() {
  if (error_ == 0) {
    error_ = writeAll(fd_, Bytes(buffer_.data(), collected_));
  }
  collected_ = 0;
  return error_ == 0;
}
