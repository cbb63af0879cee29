#include "OrvexKit/OXFileUtil.h"

#include <cmath>
#include <ctime>
#include <limits>
#include <optional>

#include "platform/desktop/DateText.h"

// No text for what no calendar has: infinities, not-a-number, and years that a `tm` cannot hold.
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
