// SPDX-License-Identifier: MIT

// The commands. Each returns true if all of it was done, else false after reporting what failed.

#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "console/Console.h"
#include "console/ListTable.h"
#include "console/Password.h"
#include "system/Limits.h"

namespace oxarchive {

// The parsed command line. Each command uses some of the options.
struct Options {
  std::vector<std::string> operands;  // at least one, none of them empty; the archive comes first
  std::optional<std::string> into;    // not empty
  bool isTrashing = false;            // the archives that were extracted
  ListStyle style = ListStyle::table;
  std::optional<std::string> level;
  std::optional<std::string> method;
  PasswordSource password;
  Limits limits;
};

// Runs the command that the program's arguments ask for. Throws UsageError if they are invalid.
bool runCommandLine(std::span<const char* const> arguments, Console& console);

// Extracts all archives, each into a new folder of its own. With `isTrashing`, then moves those
// that were extracted completely to the Trash.
bool extractArchives(const Options& options, Console& console);

// Prints the entries of each archive.
bool listArchives(const Options& options, Console& console);

// The process that `list` starts: enters a cage, opens the archive and writes each entry to
// standard output as a coded `ListedFile`. Returns false, after reporting why, if it cannot finish.
bool sendListing(const std::string& archive, const Limits& limits, Console& console);

// Packs the items after the first operand into a new archive, which appears only when it is
// complete. Throws UsageError for invalid options.
bool createArchive(const Options& options, Console& console);

extern const char* const helpText;

// "oxarchive 0.1.0" and the versions of its libraries.
std::string versionText();

}  // namespace oxarchive
