#pragma once

#include <sys/stat.h>

#include <string>

#include "system/Descriptor.h"

namespace oxarchive {

// Opens a regular file for reading, and gives what the system knows of it in `status`;
// ArchiveFailure says why when it cannot, and calls the file `subject`. Never waits for another
// process, as opening a pipe would.
Descriptor openRegularFile(const std::string& path, const std::string& subject,
                           struct ::stat& status);

}  // namespace oxarchive
