#pragma once

#include <string>

#include "console/Console.h"
#include "system/Limits.h"

namespace oxarchive {

// What `list` runs in a process of its own: goes into a cage, opens the archive and writes its
// entries to standard output, each as a coded record. False when that cannot be done to the end,
// and told why.
bool sendListing(const std::string& archive, const Limits& limits, Console& console);

}  // namespace oxarchive
