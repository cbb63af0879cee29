// A path's file-system representation: the NUL-terminated bytes that a system call takes.

#pragma once

#include <climits>
#include <string_view>

namespace ox {

// Holds the bytes in place, so that asking the disk about a path allocates nothing. A path that no
// system call could take, because it holds a NUL or is longer than the kernel reads, has no
// representation: then the bytes are those of the empty path, where nothing is and nothing can be.
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
  char bytes_[PATH_MAX];  // NOLINT(modernize-avoid-c-arrays): left as it is until it is written
};

}  // namespace ox
