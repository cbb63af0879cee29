#pragma once

#include "CommandLine.h"
#include "Console.h"

namespace oxarchive {

// Extracts all archives, each into a new folder of its own. True when every one was extracted
// whole; what went wrong has been told otherwise.
bool extractArchives(const ExtractOptions& options, Console& console);

}  // namespace oxarchive
