// The file manager: what the rules ask of the disk. A path without a file-system representation
// counts as a missing item in all of it, and nothing here throws.

#pragma once

#include <sys/stat.h>

#include <array>
#include <climits>
#include <optional>
#include <string_view>

#include "platform/files/PathBuffer.h"

namespace ox::files {

// The user's temporary folder: TMPDIR if set and not empty, else "/tmp/". Read at every call; the
// view is into the environment.
std::string_view temporaryFolder() noexcept;

// What the system says of the item that a path leads to, or of the link itself that is there. No
// value when there is none, or that cannot be told.
std::optional<struct ::stat> statusOf(const PathBuffer& path) noexcept;
std::optional<struct ::stat> statusOfLink(const PathBuffer& path) noexcept;

// Whether something is there to be opened: a link is followed, and one that leads nowhere is not.
bool itemExists(const PathBuffer& path) noexcept;

// Whether the name is taken: a link takes its name wherever it leads.
bool isNameTaken(const PathBuffer& path) noexcept;

// The absolute path, without links, of what a path leads to, in `resolved`. No value when there is
// nothing, or that cannot be told.
std::optional<std::string_view> resolvePath(const PathBuffer& path,
                                            std::array<char, PATH_MAX>& resolved) noexcept;

enum class Creation { created, nameTaken, failed };

// Makes a folder, exclusively, and the missing ones on the way to it.
Creation createFolder(const PathBuffer& path, mode_t mode = 0777) noexcept;

// Makes a new folder, open to the user alone, and writes its random characters over the "XXXXXX"
// that `pattern` ends in.
bool createUniqueFolder(char* pattern) noexcept;

// Opens a folder for reading its entries: a descriptor that the caller closes, or a negative
// number.
int openFolder(const PathBuffer& path) noexcept;

// An empty folder at `to` is replaced, whatever else is there makes it fail.
bool moveItem(const PathBuffer& from, const PathBuffer& to) noexcept;

// Removes the item with everything in it. No link is followed, a folder that the user owns is
// emptied whatever its permissions, and what vanishes meanwhile counts as removed. Takes a bounded
// number of descriptors and a bounded stack, however deep the folder is. False when something of
// it is left.
bool removeItem(const PathBuffer& path) noexcept;

}  // namespace ox::files
