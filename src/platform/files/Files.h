// The file manager: what the rules ask of the disk. A path without a file-system representation
// counts as a missing item in all of it.

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

// The user's temporary folder: TMPDIR if set and not empty, else "/tmp/". A relative one starts in
// the folder that is the current one now, so that the result stays valid when that changes; it is
// relative all the same where nobody knows the current folder. Read at every call.
std::string temporaryFolder();

// The user's data folder: XDG_DATA_HOME, else ".local/share" in HOME, else ".local/share" in the
// password database's home folder. A path that is not absolute would mean another folder after
// every change of the current one, and counts as none. Read at every call; nothing is made.
std::optional<std::string> userDataFolder();

// What the system says of the item that a path leads to, or of the link itself that is there. No
// value when there is none, or asking fails.
std::optional<struct ::stat> statusOf(const PathBuffer& path, int flags = 0) noexcept;
inline std::optional<struct ::stat> statusOfLink(const PathBuffer& path) noexcept {
  return statusOf(path, AT_SYMLINK_NOFOLLOW);
}

// Whether something is there to be opened: a link is followed, and one that leads nowhere is not.
inline bool itemExists(const PathBuffer& path) noexcept {
  return statusOf(path).has_value();
}

// Whether the name is taken: a link takes its name wherever it leads.
inline bool isNameTaken(const PathBuffer& path) noexcept {
  return statusOfLink(path).has_value();
}

// The absolute path, without links, of what a path leads to. No value when there is nothing, or
// asking fails.
std::optional<std::string> resolvePath(const PathBuffer& path);

// Where the link at `path` leads: absolute, or from where `path` starts. No value when there is no
// link.
std::optional<std::string> linkedPath(const PathBuffer& path);

// Makes a folder, exclusively, and the missing ones on the way to it. Returns 0 or the `errno`:
// EEXIST when its name is taken, by whatever.
int createFolder(const PathBuffer& path, mode_t mode = 0777) noexcept;

// Makes a new folder, open to the user alone, and writes its random characters over the "XXXXXX"
// that `pattern` ends in.
inline bool createUniqueFolder(char* pattern) noexcept {
  return sys.mkdtemp(pattern) != nullptr;
}

// Opens the regular file that `path` leads to for reading. Never waits, and never changes what it
// opens: a device may act on being opened, and a pipe would wait for its writer, so neither is. Not
// open when there is no such file.
FileDescriptor openRegularFile(const PathBuffer& path) noexcept;

}  // namespace ox::files
