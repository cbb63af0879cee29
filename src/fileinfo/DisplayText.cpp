// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFileUtil.h"

#include <array>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>
#include <string>
#include <string_view>

#include "platform/desktop/Desktop.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

// With wider intermediate results, the quotient would be rounded twice, and its text could differ.
static_assert(FLT_EVAL_METHOD == 0, "doubles must not be held wider than they are");

OXString OXHumanReadableFileSize(std::int64_t size) {
  constexpr std::array<std::string_view, 4> units{" B", " KB", " MB", " GB"};
  std::size_t unit = 0;
  std::int64_t bytes = 1;
  // Exactly one unit uses the next smaller unit.
  while (size > 1000 * bytes && unit + 1 < units.size()) {
    bytes *= 1000;
    ++unit;
  }
  std::array<char, sizeof "-9223372036854775808.0 GB"> text;
  char* end = std::to_chars(text.data(), text.data() + text.size(),
                            static_cast<double>(size) / static_cast<double>(bytes),
                            std::chars_format::fixed, 1)
                  .ptr;
  if (end[-1] == '0') {
    end -= std::string_view(".0").size();
  }
  end += units[unit].copy(end, units[unit].size());
  return std::string(text.data(), end);
}

// Returns null for a null date, infinities, not-a-number, and years that do not fit a `tm`.
OXString OXFileUtilAdditions::fileDateDescription(std::optional<OXDate> date) {
  constexpr auto first = static_cast<double>(std::numeric_limits<std::time_t>::min());
  const double seconds = date ? std::floor(date->time_since_epoch().count()) : -first;
  if (!(seconds >= first && seconds < -first)) {
    return std::nullopt;
  }
  const auto time = static_cast<std::time_t>(seconds);
  std::tm local{};
  return ::localtime_r(&time, &local) != nullptr ? OXString(ox::dateText(local)) : std::nullopt;
}

OXString OXFileUtilAdditions::fileDescription(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  return ox::orBadAlloc([&] { return OXString(ox::kindOfExtension(ox::path::extension(*path))); });
}
