// SPDX-License-Identifier: MIT

// The desktop's databases, settings and log. All functions are thread-safe.

#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace ox {

// `date` in the form "%b %d, %Y %I:%M %p", in UTF-8. The language is that of LC_ALL, else LC_TIME,
// else LANG, at the first call; English if the system has no such locale, or its encoding is
// unknown. The process's own locale is neither used nor changed.
std::string dateText(const std::tm& date);

// Whether a folder of this name is a file package, which some desktops show as one document.
// Compares the extension, ignoring case.
//   "Tool.app" => true   "Tool.APP" => true   "notes.zip" => false   ".app" => false
bool hasPackageExtension(std::string_view name) noexcept;

// The next two functions use GIO, which their first call loads. Without it they return "" and
// false. They contact no daemon and start no thread.

// The kind of document that this extension stands for, from the shared MIME database, in the user's
// language; "" if the database does not have the extension.
std::string kindOfExtension(std::string_view extension);

// Whether the file system mounted at `mountPoint` is one where users keep files, and not one of the
// system's own.
bool isUserMount(const char* mountPoint);

// Writes one line, exactly `text`, to GLib's structured log: domain "OrvexKit", level "message".
// Bytes that are not UTF-8 are allowed.
void logLine(std::string_view text) noexcept;

}  // namespace ox
