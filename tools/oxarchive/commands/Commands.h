// What the program does. Each is true when all of it was done; what went wrong has been told
// otherwise.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/Console.h"
#include "console/ListTable.h"
#include "console/Password.h"
#include "system/Limits.h"

namespace oxarchive {

// The command line. Each command knows some of the options.
struct Options {
  std::vector<std::string> operands;  // at least one, none of them empty; the archive comes first
  std::optional<std::string> into;    // not empty
  bool isTrashing = false;            // of the archives that were extracted
  ListStyle style = ListStyle::table;
  std::optional<std::string> level;
  std::optional<std::string> method;
  PasswordSource password;
  Limits limits;
};

// Extracts all archives, each into a new folder of its own, and then moves those that were
// extracted whole to the Trash if that is wanted.
bool extractArchives(const Options& options, Console& console);

// Prints what is in each archive.
bool listArchives(const Options& options, Console& console);

// What `list` runs in a process of its own: goes into a cage, opens the archive and writes its
// entries to standard output, each as a coded `ListedFile`. False when that cannot be done to the
// end, and told why.
bool sendListing(const std::string& archive, const Limits& limits, Console& console);

// Packs the items after the first operand into a new archive, which is there only when it is whole.
// Throws UsageError for what makes no sense.
bool createArchive(const Options& options, Console& console);

}  // namespace oxarchive
