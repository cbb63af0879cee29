// The path operations: what "last component", "extension" and so on mean, once and for every rule.
//
// Pure text: the disk is never touched, nothing is normalised, and bytes are taken as they come.
// What is a part of the given path is a view into it; only joining makes a new string.
//
// - Slashes at the end of a path do not count: the last component of "a/b//" is "b".
// - A root ("/", "//") has no component.
// - The extension is what follows the last "." of the last component. A leading "." with no other
//   "." marks a hidden name instead (".gz"), and a "." at the end starts nothing ("a.", "..").

#pragma once

#include <string>
#include <string_view>

namespace ox::path {

//   "/a/b.c" => "b.c"   "a//" => "a"   "/" => ""   ".." => ".."   "" => ""
std::string_view lastComponent(std::string_view path) noexcept;

// A path taken apart at the "." of its extension: what the two functions below give, at once.
struct ExtensionSplit {
  std::string_view rest;
  std::string_view extension;
};
ExtensionSplit splitExtension(std::string_view path) noexcept;

//   "a.tar.gz/" => "gz"   "/a.b/c" => ""   ".gz" => ""   ".tar.gz" => "gz"   "a." => ""
inline std::string_view extension(std::string_view path) noexcept {
  return splitExtension(path).extension;
}

// All that precedes the extension's "."; the path itself when there is no extension.
//   "a.tar.gz/" => "a.tar"   "/a.b/c" => "/a.b/c"   "a/" => "a/"   "..zip" => "."   "a." => "a."
inline std::string_view deletingExtension(std::string_view path) noexcept {
  return splitExtension(path).rest;
}

//   "/a/b.c" => "/a"   "/a" => "/"   "a/" => ""   "a//b" => "a"   "//" => "/"   "" => ""
std::string_view deletingLastComponent(std::string_view path) noexcept;

// Both joined with exactly one "/". An empty path gives the component alone, and a component with
// nothing but slashes leaves the path as it is.
//   ("a", "b") => "a/b"   ("a//", "/b") => "a/b"   ("/", "b") => "/b"   ("", "/b") => "/b"
std::string appendingComponent(std::string_view path, std::string_view component);
void appendComponent(std::string& path, std::string_view component);

// Makes a path that is not empty end in exactly one "/", ready for a component to follow.
void endWithSeparator(std::string& path);

std::string_view withoutLeadingSlashes(std::string_view component) noexcept;

// A root keeps one slash, which makes it the path that it is.
//   "a//" => "a"   "/a/" => "/a"   "/" => "/"   "//" => "/"   "" => ""
std::string_view withoutTrailingSlashes(std::string_view path) noexcept;

// Letters of ASCII in either case are the same; every other byte equals itself alone.
bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept;

constexpr char lowercase(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

}  // namespace ox::path
