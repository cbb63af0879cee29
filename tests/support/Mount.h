// SPDX-License-Identifier: MIT

// Mounts file systems for a test. Only root can mount, and not on every system.

#pragma once

#include <string>
#include <utility>

namespace ox::test {

// A file system mounted at `folder` for the lifetime of the object.
class Mount {
 public:
  // A file system in memory, with room for `size` bytes.
  static Mount inMemory(const std::string& folder, const std::string& size);

  // A bind mount of the folder or file at `shown`.
  static Mount bind(const std::string& folder, const std::string& shown);

  // A file system in the disk image `image`.
  static Mount onDisk(const std::string& folder, const std::string& image);

  ~Mount();
  Mount(const Mount&) = delete;
  Mount(Mount&& other) noexcept
      : folder_(std::move(other.folder_)), isMounted_(std::exchange(other.isMounted_, false)) {}
  Mount& operator=(const Mount&) = delete;

  explicit operator bool() const { return isMounted_; }

 private:
  Mount(std::string folder, bool isMounted) : folder_(std::move(folder)), isMounted_(isMounted) {}

  std::string folder_;
  bool isMounted_;
};

// Whether the kernel tells the mount of an open folder. Emulators may not.
bool areMountsTold();

}  // namespace ox::test
