#include "console/SizeText.h"

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <limits>

namespace oxarchive {

std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
  return OXHumanReadableFileSize(static_cast<std::int64_t>(std::min(bytes, largest))).value();
}

std::string entriesText(std::uint64_t entries, std::uint64_t bytes) {
  return std::to_string(entries) + " entries, " + sizeText(bytes);
}

}  // namespace oxarchive
