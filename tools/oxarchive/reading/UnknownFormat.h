// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace oxarchive {

// Why libarchive cannot read the file at `path`. Names the format, and a program for it, if the
// format is recognised.
std::string reasonForUnknownFormat(const std::string& path);

}  // namespace oxarchive
