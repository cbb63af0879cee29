#pragma once

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

namespace oxarchive {

inline std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
  return OXHumanReadableFileSize(static_cast<std::int64_t>(std::min(bytes, largest))).value();
}

// "3 entries, 1.5 KB"
inline std::string entriesText(std::uint64_t entries, std::uint64_t bytes) {
  return std::to_string(entries) + " entries, " + sizeText(bytes);
}

}  // namespace oxarchive
