// The rules for names and links in an archive, as text: what may be made inside a folder without a
// way out of it.

#pragma once

#include <string>
#include <string_view>

namespace oxarchive {

// The path of an entry below the folder that the archive is extracted to, with one "/" between its
// components; empty for that folder itself. An absolute path is taken to start at that folder.
// Throws EntryFailure when it has a ".." component, or is too long for the system.
//
//   "./a//b/"   => "a/b"
//   "."         => ""
//   "/etc/x"    => "etc/x"
//   "a/../b"    => EntryFailure
std::string pathInFolder(std::string_view path);

// The path before the last component, "" when there is but one.
std::string_view parentOf(std::string_view path);

// The last component.
std::string_view nameOf(std::string_view path);

// Whether a symbolic link to `target` stays in the folder for certain: the link is at `path` (as
// `pathInFolder` gives it), in real folders alone, and what it leads to must be in the folder too,
// whatever links are on the way. So a target goes up only at its start: what ".." after a name
// means depends on where that name leads.
//
//   ("a/link", "../b")       => true
//   ("link", "a/b")          => true
//   ("link", "../b")         => false
//   ("a/link", "c/../d")     => false
//   ("link", "/etc/passwd")  => false
bool linkStaysInFolder(std::string_view path, std::string_view target);

}  // namespace oxarchive
