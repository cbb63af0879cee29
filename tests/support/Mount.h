// File systems of a test's own. Only root may mount, and not everywhere.

#pragma once

#include <string>
#include <utility>

namespace ox::test {

// Mounted in `folder`, until the object goes.
class Mount {
 public:
  // In memory, with room for `size` bytes.
  static Mount inMemory(const std::string& folder, const std::string& size);

  // What is at `shown`, a folder or a file, once more.
  static Mount bind(const std::string& folder, const std::string& shown);

  // On a disk, whose contents are in the file `image`.
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

}  // namespace ox::test
