#include <new>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/desktop/Log.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"

namespace ox {
namespace {

constexpr std::string_view scratchPattern = ".orvx.XXXXXX";
constexpr std::string_view uniquePattern = "Vantrel.XXXXXX";

bool hasNoNul(std::string_view path) noexcept {
  return path.find('\0') == std::string_view::npos;
}

OXString createScratchFolder(std::string_view base) {
  OXString folder = path::appendingComponent(base, scratchPattern);
  if (!hasNoNul(*folder) || !files::createUniqueFolder(folder->data())) {
    // The function is called otherwise, but whoever looks for this line looks for these words.
    logLine("mkstemp failed to generate a temp dir!");
    folder.reset();
  }
  return folder;
}

OXString noMemoryForScratchFolder() noexcept {
  logLine("Could not allocate memory for generating temp dir name!");
  return std::nullopt;
}

}  // namespace
}  // namespace ox

OXString OXCreateTemporaryDirectoryInDir(OXStringView baseDir) {
  if (!baseDir) {
    ox::logLine("Temp base dir is nil! Using /tmp/ as a fallback!");
    baseDir = "/tmp/";
  }
  try {
    return ox::createScratchFolder(*baseDir);
  } catch (const std::bad_alloc&) {
    return ox::noMemoryForScratchFolder();
  }
}

OXString OXCreateTemporaryDirectory() {
  try {
    return ox::createScratchFolder(ox::files::temporaryFolder());
  } catch (const std::bad_alloc&) {
    return ox::noMemoryForScratchFolder();
  }
}

OXString OXCreateUniqueTempDir() {
  std::string base = ox::files::temporaryFolder();
  try {
    std::string folder = ox::path::appendingComponent(base, ox::uniquePattern);
    if (ox::files::createUniqueFolder(folder.data())) {
      return folder;
    }
  } catch (const std::bad_alloc&) {
    // No room for the longer name: what is promised is a folder to use, and the base is one.
  }
  return base;
}
