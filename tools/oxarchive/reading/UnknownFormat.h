#pragma once

#include <string>

namespace oxarchive {

// Why the file at `path` cannot be read as an archive, when libarchive knows nothing in it: which
// format it has and what reads that, if this can be told.
std::string reasonForUnknownFormat(const std::string& path);

}  // namespace oxarchive
