// The words that a locale has for dates.

#pragma once

#include <array>
#include <string>

namespace ox {

// In UTF-8, whatever the locale's own encoding.
struct DateNames {
  std::array<std::string, 12> months;  // abbreviated
  std::string am;                      // both empty where the clock has no halves
  std::string pm;
};

// Those of the locale that the environment names for times, by LC_ALL, else LC_TIME, else LANG.
// English ones when it names none, or one that the system does not have. The process's own locale
// is neither asked nor changed.
DateNames userDateNames();

}  // namespace ox
