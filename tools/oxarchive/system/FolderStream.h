#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace oxarchive {

// Opens a folder and never follows a symbolic link in its place.
inline constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// An open listing of a folder; null if it cannot be read.
using FolderStream = std::unique_ptr<DIR, int (*)(DIR*)>;

// Lists the folder at `path`; null, with the reason in `errno`, when it cannot be read.
inline FolderStream openFolderStream(const char* path) {
  return {::opendir(path), ::closedir};
}

// Lists an open folder, which stays open; null, with the reason in `errno`, when it cannot be read.
inline FolderStream listFolder(int folder) {
  const int copy = ::openat(folder, ".", folderFlags);
  return {copy >= 0 ? ::fdopendir(copy) : nullptr, ::closedir};
}

// The next name in a listing that is not null, except "." and "..", valid until the next call. Null
// at the end, with `errno` 0, or on an error, with `errno` set.
inline const char* nextName(const FolderStream& stream) {
  for (;;) {
    errno = 0;
    const dirent* const item = ::readdir(stream.get());
    if (item == nullptr) {
      return nullptr;
    }
    const char* const name = item->d_name;
    if (name != std::string_view(".") && name != std::string_view("..")) {
      return name;
    }
  }
}

}  // namespace oxarchive
