// SPDX-License-Identifier: MIT

#include "platform/desktop/Desktop.h"

#include <glib.h>
#include <langinfo.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace ox {
namespace {

// Takes words and encoding from the same locale: the user's LC_CTYPE may name another one.
locale_t openLocale(const char* name) noexcept {
  return ::newlocale(LC_TIME_MASK | LC_CTYPE_MASK, name, nullptr);
}

locale_t openUserLocale() noexcept {
  for (const char* const variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* const name = std::getenv(variable);
    if (name != nullptr && *name != '\0') {
      return openLocale(name);
    }
  }
  return nullptr;
}

// Empty if there is no such locale, or its text cannot be converted to UTF-8.
std::string textIn(locale_t locale, const std::tm& date) {
  if (locale == nullptr) {
    return {};
  }
  // C libraries pad years differently, so the year is formatted here.
  const long long year = date.tm_year + 1900LL;
  std::array<char, 64> pattern;
  static_cast<void>(std::snprintf(pattern.data(), pattern.size(), "%%b %%d, %s%04lld %%I:%%M %%p",
                                  year < 0 ? "-" : "", std::llabs(year)));
  std::array<char, 512> text;
  const std::size_t length = ::strftime_l(text.data(), text.size(), pattern.data(), &date, locale);
  if (length == 0 || g_str_is_ascii(text.data()) != FALSE) {
    return {text.data(), length};
  }
  const std::unique_ptr<char, decltype(&g_free)> converted(
      g_convert(text.data(), static_cast<gssize>(length), "UTF-8", ::nl_langinfo_l(CODESET, locale),
                nullptr, nullptr, nullptr),
      g_free);
  return converted ? converted.get() : "";
}

}  // namespace

std::string dateText(const std::tm& date) {
  // Opened once and never freed.
  static const locale_t dateLocale = openUserLocale();
  static const locale_t english = openLocale("C");
  std::string text = textIn(dateLocale, date);
  return text.empty() ? textIn(english, date) : text;
}

}  // namespace ox
