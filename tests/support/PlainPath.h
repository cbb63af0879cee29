// SPDX-License-Identifier: MIT

// A second implementation of the path operations, to compare the library with. It reads a path
// character by character from front to back, copies every result, and shares no code with the
// library.

#pragma once

#include <string>

namespace ox::test::plain {

std::string lastComponent(const std::string& path);
std::string extension(const std::string& path);
std::string deletingExtension(const std::string& path);
std::string deletingLastComponent(const std::string& path);
std::string appendingComponent(const std::string& path, const std::string& component);

}  // namespace ox::test::plain
