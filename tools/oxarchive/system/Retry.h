#pragma once

#include <cerrno>

namespace oxarchive {

// Makes a system call, and repeats it while it fails with EINTR.
template <typename Call>
auto retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) {
    result = call();
  }
  return result;
}

}  // namespace oxarchive
