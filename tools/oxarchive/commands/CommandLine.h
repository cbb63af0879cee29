#pragma once

#include <functional>
#include <span>
#include <string>

#include "console/Console.h"

namespace oxarchive {

// Runs the command. Returns whether all of it was done.
using Command = std::function<bool(Console&)>;

// Parses the command line. Throws UsageError.
Command parseCommandLine(std::span<const char* const> arguments);

extern const char* const helpText;

// "oxarchive 0.1.0" and the versions of its libraries.
std::string versionText();

}  // namespace oxarchive
