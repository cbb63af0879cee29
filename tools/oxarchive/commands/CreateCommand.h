#pragma once

#include "commands/CommandLine.h"
#include "console/Console.h"

namespace oxarchive {

// Packs items into a new archive, which is there only when it is whole. True when everything is in
// it; what went wrong has been told otherwise. Throws UsageError for what makes no sense.
bool createArchive(const CreateOptions& options, Console& console);

}  // namespace oxarchive
