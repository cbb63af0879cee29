// SPDX-License-Identifier: MIT

// Reads the entries of an open folder, one by one and without allocating memory.

#pragma once

#include <dirent.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/files/Folder.h"
#include "platform/files/System.h"

namespace ox {

struct DirectoryEntry {
  const char* name;    // NUL-terminated; valid until the next call of `next`
  unsigned char type;  // DT_DIR, DT_REG, … or DT_UNKNOWN if the file system does not say
};

// Reads a folder that was opened with `Access::list`, from its current position, and skips "." and
// "..". A larger buffer takes more memory and fewer system calls.
template <std::size_t bufferSize>
class DirectoryReader {
 public:
  explicit DirectoryReader(const Folder& folder) noexcept : fd_(folder.fd()) {}

  // No value at the end, or if reading fails, as it does if the folder is not open.
  std::optional<DirectoryEntry> next() noexcept {
    for (;;) {
      if (position_ == filled_ && !fill()) {
        return std::nullopt;
      }
      const auto* entry = reinterpret_cast<const ::dirent*>(buffer_.data() + position_);
      position_ += entry->d_reclen;
      const std::string_view name(static_cast<const char*>(entry->d_name));
      if (name != "." && name != "..") {
        return DirectoryEntry{static_cast<const char*>(entry->d_name), entry->d_type};
      }
    }
  }

 private:
  bool fill() noexcept {
    const ssize_t count = sys.getdents(fd_, buffer_.data(), buffer_.size());
    position_ = 0;
    filled_ = count > 0 ? static_cast<std::size_t>(count) : 0;
    return count > 0;
  }

  int fd_;
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
  alignas(::dirent) std::array<char, bufferSize> buffer_;
};

}  // namespace ox
