#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <memory>

namespace oxarchive {

// A folder itself: never what a link in its place leads to.
inline constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

using FolderStream = std::unique_ptr<DIR, int (*)(DIR*)>;

// Lists an open folder, which stays open; null, with the reason in `errno`, when it cannot be read.
inline FolderStream listFolder(int folder) {
  const int copy = ::openat(folder, ".", folderFlags);
  return {copy >= 0 ? ::fdopendir(copy) : nullptr, ::closedir};
}

}  // namespace oxarchive
