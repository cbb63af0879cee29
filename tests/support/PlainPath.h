// A second statement of the path operations, for the tests to hold the library's own against. It
// goes over a path character by character and front to back, copies whatever it gives, and shares
// no code with the library.

#pragma once

#include <string>

namespace ox::test::plain {

std::string lastComponent(const std::string& path);
std::string extension(const std::string& path);
std::string deletingExtension(const std::string& path);
std::string deletingLastComponent(const std::string& path);
std::string appendingComponent(const std::string& path, const std::string& component);

}  // namespace ox::test::plain
