#include "platform/desktop/DateNames.h"

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

// Sets one name of a locale, from its encoding to UTF-8; false when it cannot be converted.
bool setName(std::string& name, locale_t locale, nl_item item) {
  const char* const encoding = ::nl_langinfo_l(CODESET, locale);
  const std::unique_ptr<char, decltype(&g_free)> converted(
      g_convert(::nl_langinfo_l(item, locale), -1, "UTF-8", encoding, nullptr, nullptr, nullptr),
      g_free);
  if (converted) {
    name = converted.get();
  }
  return converted != nullptr;
}

// All of them, or no value.
std::optional<DateNames> namesIn(locale_t locale) {
  DateNames names;
  bool hasAll = true;
  for (std::size_t i = 0; i < monthItems.size(); ++i) {
    hasAll &= setName(names.months[i], locale, monthItems[i]);
  }
  hasAll &= setName(names.am, locale, AM_STR);
  hasAll &= setName(names.pm, locale, PM_STR);
  return hasAll ? std::optional(std::move(names)) : std::nullopt;
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
