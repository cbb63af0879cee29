// What GLib's I/O library knows. It is brought in by the first call; where it is missing, nothing
// is known. Neither calls a daemon nor starts a thread.

#pragma once

#include <string>
#include <string_view>

namespace ox::gio {

// The kind of documents whose names have this extension, by the shared MIME database, in the user's
// language; "" when it knows none.
std::string kindOfExtension(std::string_view extension);

// Whether the file system that is mounted at `mountPoint` is one that users know of as a place of
// their files. Those of the system itself are not.
bool isUserMount(const char* mountPoint);

}  // namespace ox::gio
