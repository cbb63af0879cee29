// SPDX-License-Identifier: MIT

// Which names and links of an archive stay inside the folder. Works on text alone.

#pragma once

#include <string>
#include <string_view>

namespace oxarchive {

// The path of an entry relative to the extraction folder, with one "/" between components; empty
// for that folder itself. An absolute path starts at that folder. Throws EntryFailure if it has a
// ".." component or is too long for the system.
//
//   "./a//b/"   => "a/b"
//   "."         => ""
//   "/etc/x"    => "etc/x"
//   "a/../b"    => EntryFailure
std::string pathInFolder(std::string_view path);

// The path without the last component; "" if there is only one.
std::string_view parentOf(std::string_view path);

// The last component.
std::string_view nameOf(std::string_view path);

// What comes before the last component: "" or a text that ends in "/".
std::string folderOf(const std::string& path);

// Whether a symbolic link at `path` (from `pathInFolder`) to `target` certainly stays in the
// folder, if all other links that the target passes through do. The parents of `path` are real
// folders.
// ".." is allowed only at the start of a target: after a name its meaning depends on where that
// name leads.
//
//   ("a/link", "../b")       => true
//   ("link", "a/b")          => true
//   ("link", "../b")         => false
//   ("a/link", "c/../d")     => false
//   ("link", "/etc/passwd")  => false
bool linkStaysInFolder(std::string_view path, std::string_view target);

}  // namespace oxarchive
