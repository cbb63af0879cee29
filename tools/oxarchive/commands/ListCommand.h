#pragma once

#include "commands/CommandLine.h"
#include "console/Console.h"

namespace oxarchive {

// Prints a table of what is in the archive, an entry a line, and the totals. The archive is opened
// by a process of its own, so that a file made to break what reads it does not reach this one. True
// when all of it was listed; what went wrong has been told otherwise.
bool listArchive(const ListOptions& options, Console& console);

}  // namespace oxarchive
