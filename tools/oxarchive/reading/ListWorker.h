#pragma once

#include <string>

#include "console/Console.h"

namespace oxarchive {

// What `list` runs in a process of its own: opens the archive and writes its entries to standard
// output, each as a coded record. False when that cannot be done to the end, and told why.
bool sendListing(const std::string& archive, Console& console);

}  // namespace oxarchive
