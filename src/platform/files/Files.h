// The file manager: what the rules ask of the disk. A path without a file-system representation
// counts as a missing item in all of it.

#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/files/FileDescriptor.h"
#include "platform/files/PathBuffer.h"

namespace ox::files {

// The user's temporary folder: TMPDIR if set and not empty, else "/tmp/". A relative one starts in
// the folder that is the current one now, so that the result stays valid when that changes; it is
// relative all the same where nobody knows the current folder. Read at every call.
std::string temporaryFolder();

// What the system says of the item that a path leads to, or of the link itself that is there. No
// value when there is none, or asking fails.
std::optional<struct ::stat> statusOf(const PathBuffer& path) noexcept;
std::optional<struct ::stat> statusOfLink(const PathBuffer& path) noexcept;

// Whether something is there to be opened: a link is followed, and one that leads nowhere is not.
bool itemExists(const PathBuffer& path) noexcept;

// Whether the name is taken: a link takes its name wherever it leads.
bool isNameTaken(const PathBuffer& path) noexcept;

// The absolute path, without links, of what a path leads to. No value when there is nothing, or
// asking fails.
std::optional<std::string> resolvePath(const PathBuffer& path);

// Where the link at `path` leads: absolute, or from where `path` starts. No value when there is no
// link.
std::optional<std::string> linkedPath(const PathBuffer& path);

enum class Creation { created, nameTaken, failed };

// Makes a folder, exclusively, and the missing ones on the way to it.
Creation createFolder(const PathBuffer& path, mode_t mode = 0777) noexcept;

// Makes a new folder, open to the user alone, and writes its random characters over the "XXXXXX"
// that `pattern` ends in.
bool createUniqueFolder(char* pattern) noexcept;

// Opens the regular file that `path` leads to for reading. Never waits, and never changes what it
// opens: a device may act on being opened, and a pipe would wait for its writer, so neither is. Not
// open when there is no such file.
FileDescriptor openRegularFile(const PathBuffer& path) noexcept;

}  // namespace ox::files
