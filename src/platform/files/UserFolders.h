// Where the user's own files belong.

#pragma once

#include <optional>
#include <string>

namespace ox {

// The user's data folder: XDG_DATA_HOME, else ".local/share" in HOME, else ".local/share" in the
// password database's home folder. A path that is not absolute would mean another folder after
// every change of the current one, and counts as none. Looked up at every call; nothing is made.
std::optional<std::string> userDataFolder();

}  // namespace ox
