// What the program does. Each is true when all of it was done; what went wrong has been told
// otherwise.

#pragma once

#include "commands/CommandLine.h"
#include "console/Console.h"

namespace oxarchive {

// Extracts all archives, each into a new folder of its own, and then moves those that were
// extracted whole to the Trash if that is wanted.
bool extractArchives(const ExtractOptions& options, Console& console);

// Prints a table of what is in the archive, an entry a line, and the totals.
bool listArchive(const ListOptions& options, Console& console);

// What `list` runs in a process of its own: goes into a cage, opens the archive and writes its
// entries to standard output, each as a coded record. False when that cannot be done to the end,
// and told why.
bool sendListing(const std::string& archive, const Limits& limits, Console& console);

// Packs items into a new archive, which is there only when it is whole. Throws UsageError for what
// makes no sense.
bool createArchive(const CreateOptions& options, Console& console);

}  // namespace oxarchive
