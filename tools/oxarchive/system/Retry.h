#pragma once

#include <cerrno>

namespace oxarchive {

// Makes a system call, once more as long as a signal interrupts it.
template <typename Call>
auto retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) {
    result = call();
  }
  return result;
}

}  // namespace oxarchive
