#pragma once

#include <functional>
#include <span>
#include <string>

#include "console/Console.h"

namespace oxarchive {

// Does what the user wants; true when all of it was done.
using Command = std::function<bool(Console&)>;

// What to do. Throws UsageError.
Command parseCommandLine(std::span<const char* const> arguments);

extern const char* const helpText;

// "oxarchive 0.1.0", and the libraries that it works with.
std::string versionText();

}  // namespace oxarchive
