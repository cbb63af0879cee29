// SPDX-License-Identifier: MIT

// A path's file-system representation: the NUL-terminated bytes that a system call takes.

#pragma once

#include <climits>
#include <string_view>

namespace ox {

// Holds the bytes in place, so that no call on a path needs to allocate. A path that contains a
// NUL, or that is longer than the kernel accepts, has no representation: it becomes the empty path,
// at which no item can exist.
class PathBuffer {
 public:
  explicit PathBuffer(std::string_view path) noexcept
      : representable_(path.size() < sizeof bytes_ && path.find('\0') == std::string_view::npos) {
    bytes_[representable_ ? path.copy(bytes_, path.size()) : 0] = '\0';
  }

  bool isRepresentable() const noexcept { return representable_; }
  const char* c_str() const noexcept { return bytes_; }
  char* data() noexcept { return bytes_; }
  std::string_view view() const noexcept { return bytes_; }

 private:
  bool representable_;
  char bytes_[PATH_MAX];  // NOLINT(modernize-avoid-c-arrays): not initialised, on purpose
};

}  // namespace ox
