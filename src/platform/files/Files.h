// SPDX-License-Identifier: MIT

// The file manager: file-system operations by path. A path without a file-system representation
// (`PathBuffer`) is treated as a missing item.

#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/files/FileDescriptor.h"
#include "platform/files/PathBuffer.h"
#include "platform/files/System.h"

namespace ox::files {

// The user's temporary folder: TMPDIR if set and not empty, else "/tmp/". Read at every call. A
// relative TMPDIR is made absolute, so that the result stays valid if the current folder changes;
// it stays relative if the current folder is unknown.
std::string temporaryFolder();

// The user's data folder: XDG_DATA_HOME, else ".local/share" in HOME, else ".local/share" in the
// password database's home folder. Paths that are not absolute are ignored, since they would depend
// on the current folder. Read at every call; creates nothing.
std::optional<std::string> userDataFolder();

// The status of the item at `path`. If that is a symbolic link, `statusOf` follows it and
// `statusOfLink` does not. No value if there is no item, or the call fails.
std::optional<struct ::stat> statusOf(const PathBuffer& path, int flags = 0) noexcept;
inline std::optional<struct ::stat> statusOfLink(const PathBuffer& path) noexcept {
  return statusOf(path, AT_SYMLINK_NOFOLLOW);
}

// Whether an item exists. Follows symbolic links: a dangling one does not exist.
inline bool itemExists(const PathBuffer& path) noexcept {
  return statusOf(path).has_value();
}

// Whether the name is taken, also by a dangling symbolic link.
inline bool isNameTaken(const PathBuffer& path) noexcept {
  return statusOfLink(path).has_value();
}

// The absolute path, with all symbolic links resolved. No value if that fails.
std::optional<std::string> resolvePath(const PathBuffer& path);

// The target of the symbolic link at `path`: absolute, or relative to the same folder as `path`. No
// value if there is no symbolic link.
std::optional<std::string> linkedPath(const PathBuffer& path);

// Creates the folder exclusively, and the missing folders above it. Returns 0 or the `errno`:
// EEXIST if the name is taken by any item.
int createFolder(const PathBuffer& path, mode_t mode = 0777) noexcept;

// Creates a new folder that only the user can access. Replaces the "XXXXXX" at the end of `pattern`
// by random characters.
inline bool createUniqueFolder(char* pattern) noexcept {
  return sys.mkdtemp(pattern) != nullptr;
}

// Opens the regular file that `path` leads to for reading, and nothing else: opening a pipe would
// wait for its writer, and a device may act when it is opened. Never blocks or changes the file.
// The result is not open if there is no such file.
FileDescriptor openRegularFile(const PathBuffer& path) noexcept;

}  // namespace ox::files
