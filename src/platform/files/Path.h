// SPDX-License-Identifier: MIT

// Path operations. They define "last component", "extension" and so on for all rules.
//
// Pure text: they never touch the disk, normalise nothing, and accept any bytes. Parts of a path
// are returned as views into the argument; only joining creates a new string.
//
// - Trailing slashes are ignored: the last component of "a/b//" is "b".
// - A root ("/", "//") has no component.
// - The extension is what follows the last "." of the last component. A leading "." with no other
//   "." marks a hidden name instead (".gz"). A trailing "." starts no extension ("a.", "..").

#pragma once

#include <string>
#include <string_view>

namespace ox::path {

//   "/a/b.c" => "b.c"   "a//" => "a"   "/" => ""   ".." => ".."   "" => ""
std::string_view lastComponent(std::string_view path) noexcept;

// A path split at the "." of its extension: the results of the two functions below, at once.
struct ExtensionSplit {
  std::string_view rest;
  std::string_view extension;
};
ExtensionSplit splitExtension(std::string_view path) noexcept;

//   "a.tar.gz/" => "gz"   "/a.b/c" => ""   ".gz" => ""   ".tar.gz" => "gz"   "a." => ""
inline std::string_view extension(std::string_view path) noexcept {
  return splitExtension(path).extension;
}

// Everything before the "." of the extension, or the path itself if it has no extension.
//   "a.tar.gz/" => "a.tar"   "/a.b/c" => "/a.b/c"   "a/" => "a/"   "..zip" => "."   "a." => "a."
inline std::string_view deletingExtension(std::string_view path) noexcept {
  return splitExtension(path).rest;
}

//   "/a/b.c" => "/a"   "/a" => "/"   "a/" => ""   "a//b" => "a"   "//" => "/"   "" => ""
std::string_view deletingLastComponent(std::string_view path) noexcept;

// Joins both with exactly one "/". If the path is empty, the result is the component. If the
// component has nothing but slashes, the result is the path.
//   ("a", "b") => "a/b"   ("a//", "/b") => "a/b"   ("/", "b") => "/b"   ("", "/b") => "/b"
std::string appendingComponent(std::string_view path, std::string_view component);
void appendComponent(std::string& path, std::string_view component);

// Makes a path that is not empty end in exactly one "/".
void endWithSeparator(std::string& path);

std::string_view withoutLeadingSlashes(std::string_view component) noexcept;

// A root keeps one slash.
//   "a//" => "a"   "/a/" => "/a"   "/" => "/"   "//" => "/"   "" => ""
std::string_view withoutTrailingSlashes(std::string_view path) noexcept;

// Compares bytes, ignoring the case of ASCII letters.
bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept;

constexpr char lowercase(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

}  // namespace ox::path
