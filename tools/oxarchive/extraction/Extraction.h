// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXString.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "console/Console.h"
#include "system/Files.h"
#include "system/Limits.h"

namespace oxarchive {

// An archive to extract into a new folder.
struct ExtractionJob {
  std::string archive;               // as the user named it
  std::vector<std::string> volumes;  // its files in order
  OXString password;
  Limits limits;
  std::string folder;     // its path
  Descriptor descriptor;  // of the empty folder
};

// Shared memory from the extracting process to its parent, valid even if that process is killed.
struct ExtractionReport {
  std::atomic<std::uint64_t> entries = 0;
  std::atomic<std::uint64_t> size = 0;  // of what is in the folder
  std::atomic<bool> isSizeKnown = false;
  // The path, in the folder, of the item being made, truncated to PATH_MAX.
  std::array<char, PATH_MAX> unfinished{};
};

// The result of an extraction, also used as the exit code.
enum class ExtractionEnd : int { whole = 0, incomplete = 1, nothing = 2 };

// Enters a cage and extracts the archive. Reports errors. If nothing can be extracted, the folder
// is left empty.
ExtractionEnd extractCaged(const ExtractionJob& job, ExtractionReport& report, Console& console);

// Removes the item that was being made when the extracting process ended.
void removeUnfinished(const ExtractionJob& job, const ExtractionReport& report);

}  // namespace oxarchive
