#include "platform/DateNames.h"

#include <glib.h>
#include <langinfo.h>
#include <clocale>

#include <cstdlib>
#include <memory>
#include <optional>

namespace ox {
namespace {

const DateNames englishNames{
    .months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"},
    .am = "AM",
    .pm = "PM"};

constexpr std::array<nl_item, 12> monthItems{ABMON_1, ABMON_2,  ABMON_3,  ABMON_4,
                                             ABMON_5, ABMON_6,  ABMON_7,  ABMON_8,
                                             ABMON_9, ABMON_10, ABMON_11, ABMON_12};

const char* userLocaleName() noexcept {
  for (const char* const variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* const name = std::getenv(variable);
    if (name != nullptr && *name != '\0') {
      return name;
    }
  }
  return "C";
}

// One name of a locale, from its encoding to UTF-8; no value when it cannot be converted.
std::optional<std::string> nameIn(locale_t locale, nl_item item) {
  const char* const name = ::nl_langinfo_l(item, locale);
  const char* const encoding = ::nl_langinfo_l(CODESET, locale);
  const std::unique_ptr<char, decltype(&g_free)> converted(
      g_convert(name, -1, "UTF-8", encoding, nullptr, nullptr, nullptr), g_free);
  return converted ? std::optional<std::string>(converted.get()) : std::nullopt;
}

// All of them, or no value.
std::optional<DateNames> namesIn(locale_t locale) {
  DateNames names;
  for (std::size_t i = 0; i < monthItems.size(); ++i) {
    std::optional<std::string> month = nameIn(locale, monthItems[i]);
    if (!month) {
      return std::nullopt;
    }
    names.months[i] = *std::move(month);
  }
  std::optional<std::string> am = nameIn(locale, AM_STR);
  std::optional<std::string> pm = nameIn(locale, PM_STR);
  if (!am || !pm) {
    return std::nullopt;
  }
  names.am = *std::move(am);
  names.pm = *std::move(pm);
  return names;
}

}  // namespace

DateNames userDateNames() {
  // Names and encoding of one and the same locale: the user's LC_CTYPE may be another one.
  const std::unique_ptr<std::remove_pointer_t<locale_t>, decltype(&::freelocale)> locale(
      ::newlocale(LC_TIME_MASK | LC_CTYPE_MASK, userLocaleName(), nullptr), ::freelocale);
  std::optional<DateNames> names = locale ? namesIn(locale.get()) : std::nullopt;
  return names ? *std::move(names) : englishNames;
}

}  // namespace ox
