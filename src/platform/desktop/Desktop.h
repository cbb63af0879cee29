// The desktop: what the rules ask of its databases, its settings and its log. Any thread.

#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace ox {

// `date` in the pattern "%b %d, %Y %I:%M %p", in UTF-8. Its words are those of the locale that the
// environment named for times at the first call, by LC_ALL, else LC_TIME, else LANG; English where
// the system has no such locale or nobody knows its encoding. The process's own locale is neither
// read nor changed.
std::string dateText(const std::tm& date);

// Whether a folder of this name is a file package, which desktops show as one document, by its
// extension in any case.
//   "Tool.app" => true   "Tool.APP" => true   "notes.zip" => false   ".app" => false
bool hasPackageExtension(std::string_view name) noexcept;

// The next two ask GLib's I/O library, which their first call loads. Without it nothing is known.
// Neither calls a daemon nor starts a thread.

// The kind of documents whose names have this extension, by the shared MIME database, in the user's
// language; "" if it knows none.
std::string kindOfExtension(std::string_view extension);

// Whether the file system that is mounted at `mountPoint` is one that users know of as a place of
// their files. Those of the system itself are not.
bool isUserMount(const char* mountPoint);

// Writes one line, exactly `text`, to GLib's structured log: domain "OrvexKit", level "message".
// Bytes that are not UTF-8 are written too.
void logLine(std::string_view text) noexcept;

}  // namespace ox
