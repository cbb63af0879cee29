// SPDX-License-Identifier: MIT

// What happens in the worker: the archive is read there, and nowhere else.

#pragma once

#include <string>
#include <vector>

namespace tour {

// Sends reports to standard output, and returns the exit code: 0 when all of the archive could be
// read, and all of it be extracted.
//
//   {"list", VOLUME...}              one report for each entry
//   {"extract", FOLDER, VOLUME...}   one for each 256 KiB written, and one for each failure
int runWorker(const std::vector<std::string>& arguments);

}  // namespace tour
