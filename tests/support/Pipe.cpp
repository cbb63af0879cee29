// SPDX-License-Identifier: MIT

#include "support/Pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace ox::test {

Pipe::Pipe(int flags) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC | flags) != 0) {
    ADD_FAILURE() << "cannot create a pipe";
    return;
  }
  reading_ = ends[0];
  writing_ = ends[1];
}

Pipe::~Pipe() {
  closeReading();
  closeWriting();
}

void Pipe::closeReading() {
  if (const int fd = std::exchange(reading_, -1); fd >= 0) {
    ::close(fd);
  }
}

void Pipe::closeWriting() {
  if (const int fd = std::exchange(writing_, -1); fd >= 0) {
    ::close(fd);
  }
}

void Pipe::put(std::span<const std::byte> bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::write(writing_, bytes.data(), bytes.size());
    ASSERT_GT(count, 0);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

}  // namespace ox::test
