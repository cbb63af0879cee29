// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFileUtil.h"

#include <new>
#include <string>

#include "platform/desktop/Desktop.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"

namespace ox {
namespace {

constexpr std::string_view scratchPattern = ".orvx.XXXXXX";
constexpr std::string_view uniquePattern = "Vantrel.XXXXXX";

// Creates it in the user's temporary folder if `base` is null.
OXString createScratchFolder(OXStringView base) {
  try {
    OXString folder = path::appendingComponent(
        base ? *base : std::string_view(files::temporaryFolder()), scratchPattern);
    const bool holdsNul = folder->find('\0') != std::string::npos;
    if (!holdsNul && files::createUniqueFolder(folder->data())) {
      return folder;
    }
    // The call is `mkdtemp`, but people and programs look for exactly this line.
    logLine("mkstemp failed to generate a temp dir!");
  } catch (const std::bad_alloc&) {
    logLine("Could not allocate memory for generating temp dir name!");
  }
  return std::nullopt;
}

}  // namespace
}  // namespace ox

OXString OXCreateTemporaryDirectoryInDir(OXStringView baseDir) {
  if (!baseDir) {
    ox::logLine("Temp base dir is nil! Using /tmp/ as a fallback!");
    baseDir = "/tmp/";
  }
  return ox::createScratchFolder(baseDir);
}

OXString OXCreateTemporaryDirectory() {
  return ox::createScratchFolder(std::nullopt);
}

OXString OXCreateUniqueTempDir() {
  std::string base = ox::files::temporaryFolder();
  try {
    std::string folder = ox::path::appendingComponent(base, ox::uniquePattern);
    if (ox::files::createUniqueFolder(folder.data())) {
      return folder;
    }
  } catch (const std::bad_alloc&) {
    // No memory for the path. The function always returns a usable folder, so it returns the base.
  }
  return base;
}
