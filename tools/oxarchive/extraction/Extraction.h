#pragma once

#include <OrvexKit/platform/OXString.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "console/Console.h"
#include "system/Descriptor.h"
#include "system/Limits.h"

namespace oxarchive {

// An archive on its way into its new folder.
struct ExtractionJob {
  std::string archive;               // as the user calls it
  std::vector<std::string> volumes;  // its files in order
  OXString password;
  Limits limits;
  std::string folder;     // its path
  Descriptor descriptor;  // of the empty folder
};

// What the process that extracts tells the one that waits for it, whatever becomes of it.
struct ExtractionReport {
  std::atomic<std::uint64_t> entries = 0;
  std::atomic<std::uint64_t> size = 0;  // of what is in the folder
  std::atomic<bool> isSizeKnown = false;
  // The path in the folder of what is being made, cut to the length that a path may have.
  std::array<char, PATH_MAX> unfinished{};
};

// How extracting has ended; exit codes too.
enum class ExtractionEnd : int { whole = 0, incomplete = 1, nothing = 2 };

// Goes into a cage and extracts the archive. What went wrong is told; where nothing could be
// extracted the folder is left empty.
ExtractionEnd extractCaged(ExtractionJob& job, ExtractionReport& report, Console& console);

// Removes what was being made when the process that did it ended.
void removeUnfinished(const ExtractionJob& job, const ExtractionReport& report);

}  // namespace oxarchive
