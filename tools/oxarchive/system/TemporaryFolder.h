#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "console/Failure.h"
#include "console/Printable.h"

namespace oxarchive {

// Throws ArchiveFailure with the reason if the temporary folder is not writable; neither the
// library nor libarchive reports it.
inline void checkTemporaryFolder() {
  const char* const chosen = std::getenv("TMPDIR");
  const std::string folder = chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
  std::string probe = folder + "/oxarchive.XXXXXX";
  if (::mkdtemp(probe.data()) == nullptr) {
    throw ArchiveFailure(
        withSystemReason("no temporary folder can be made in " + printable(folder), errno));
  }
  ::rmdir(probe.c_str());
}

}  // namespace oxarchive
