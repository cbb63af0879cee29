// SPDX-License-Identifier: MIT

#include "support/Mount.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "support/ChildProcess.h"

namespace ox::test {

Mount Mount::inMemory(const std::string& folder, const std::string& size) {
  const std::string options = "size=" + size;
  return {folder, ::mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) == 0};
}

Mount Mount::bind(const std::string& folder, const std::string& shown) {
  return {folder, ::mount(shown.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0};
}

Mount Mount::onDisk(const std::string& folder, const std::string& image) {
  std::ofstream(image).close();
  constexpr off_t imageSize = 8 << 20;
  const bool isMounted =
      ::truncate(image.c_str(), imageSize) == 0 &&
      run({.program = "/usr/sbin/mkfs.ext4", .arguments = {"-q", image}}).exitCode == 0 &&
      run({.program = "mount", .arguments = {"-o", "loop", image, folder}}).exitCode == 0;
  return {folder, isMounted};
}

Mount::~Mount() {
  if (isMounted_) {
    ::umount2(folder_.c_str(), MNT_DETACH);
  }
}

bool areMountsTold() {
  struct ::statx status {};
  return ::statx(AT_FDCWD, "/", 0, STATX_MNT_ID, &status) == 0 &&
         (status.stx_mask & STATX_MNT_ID) != 0 && status.stx_mnt_id != 0;
}

}  // namespace ox::test
