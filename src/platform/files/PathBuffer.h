// A path's file-system representation: the NUL-terminated bytes that a system call takes.

#pragma once

#include <climits>
#include <cstddef>
#include <string_view>

namespace ox {

// Holds the bytes in place, so that asking the disk about a path allocates nothing. A path that no
// system call could take, because it holds a NUL or is longer than the kernel reads, has no
// representation, and stays without one whatever is appended.
class PathBuffer {
 public:
  explicit PathBuffer(std::string_view path) noexcept { append(path); }
  PathBuffer(std::string_view folder, std::string_view component) noexcept : PathBuffer(folder) {
    appendComponent(component);
  }

  // Joins with exactly one "/", as `path::appendingComponent` does.
  void appendComponent(std::string_view component) noexcept;

  bool isRepresentable() const noexcept { return representable_; }
  // Only of a representable path.
  const char* c_str() const noexcept { return bytes_; }
  char* data() noexcept { return bytes_; }
  std::string_view view() const noexcept { return {bytes_, length_}; }

 private:
  void append(std::string_view text) noexcept;

  bool representable_ = true;
  std::size_t length_ = 0;
  char bytes_[PATH_MAX];  // NOLINT(modernize-avoid-c-arrays): left as it is until it is written
};

}  // namespace ox
