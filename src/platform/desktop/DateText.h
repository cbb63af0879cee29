// Dates as text in the user's locale.

#pragma once

#include <ctime>
#include <string>

namespace ox {

// `date` in the pattern "%b %d, %Y %I:%M %p", in UTF-8. Its words are those of the locale that the
// environment named for times at the first call, by LC_ALL, else LC_TIME, else LANG; English where
// the system has no such locale or nobody knows its encoding. The process's own locale is neither
// asked nor changed.
std::string dateText(const std::tm& date);

}  // namespace ox
