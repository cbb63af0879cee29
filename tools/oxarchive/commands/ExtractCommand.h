#pragma once

#include "commands/CommandLine.h"
#include "console/Console.h"

namespace oxarchive {

// Extracts all archives, each into a new folder of its own, and then moves those that were
// extracted whole to the Trash if that is wanted. True when all of it was done; what went wrong has
// been told otherwise.
bool extractArchives(const ExtractOptions& options, Console& console);

}  // namespace oxarchive
