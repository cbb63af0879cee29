#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>
#include <optional>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/desktop/DateNames.h"

namespace {

using namespace ox;

// The user's, as it was at the first call. Kept until the process ends.
const DateNames& dateLocale() {
  static const DateNames& dateLocale = *new DateNames(userDateNames());
  return dateLocale;
}

// No value for what no calendar has: infinities, not-a-number, and years that a `tm` cannot hold.
std::optional<std::tm> localTime(OXDate date) noexcept {
  constexpr auto first = static_cast<double>(std::numeric_limits<std::time_t>::min());
  const double seconds = std::floor(date.time_since_epoch().count());
  if (!(seconds >= first && seconds < -first)) {
    return std::nullopt;
  }
  const auto time = static_cast<std::time_t>(seconds);
  std::tm local{};
  if (::localtime_r(&time, &local) == nullptr) {
    return std::nullopt;
  }
  return local;
}

// In decimal, with zeros before it up to `width` digits.
void append(std::string& text, long long number, std::size_t width) {
  if (number < 0) {
    text += '-';
    number = -number;
  }
  const std::string digits = std::to_string(number);
  text.append(width - std::min(width, digits.size()), '0');
  text += digits;
}

}  // namespace

OXString OXFileUtilAdditions::fileDateDescription(std::optional<OXDate> date) {
  const std::optional<std::tm> local = date ? localTime(*date) : std::nullopt;
  if (!local) {
    return std::nullopt;
  }
  constexpr int hoursOfTheClock = 12;
  const DateNames& names = dateLocale();
  const int hour = local->tm_hour % hoursOfTheClock;
  std::string text;
  text.reserve(64);
  text += names.months[static_cast<std::size_t>(local->tm_mon)];
  text += ' ';
  append(text, local->tm_mday, 2);
  text += ", ";
  append(text, local->tm_year + 1900LL, 4);
  text += ' ';
  append(text, hour == 0 ? hoursOfTheClock : hour, 2);
  text += ':';
  append(text, local->tm_min, 2);
  text += ' ';
  text += local->tm_hour < hoursOfTheClock ? names.am : names.pm;
  return text;
}
