#include "folders/TemporaryDirectories.h"

#include <new>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/desktop/Log.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"

namespace {

using namespace ox;

constexpr std::string_view scratchPattern = ".orvx.XXXXXX";
constexpr std::string_view uniquePattern = "Vantrel.XXXXXX";

bool hasNoNul(std::string_view path) noexcept {
  return path.find('\0') == std::string_view::npos;
}

void logFailedCreation() noexcept {
  // The function is called otherwise, but whoever looks for this line looks for these words.
  logLine("mkstemp failed to generate a temp dir!");
}

}  // namespace

std::optional<PathBuffer> ox::createScratchFolder() noexcept {
  std::optional<PathBuffer> folder(std::in_place, files::temporaryFolder(), scratchPattern);
  if (!folder->isRepresentable() || !files::createUniqueFolder(folder->data())) {
    logFailedCreation();
    folder.reset();
  }
  return folder;
}

OXString OXCreateTemporaryDirectoryInDir(OXStringView baseDir) {
  if (!baseDir) {
    logLine("Temp base dir is nil! Using /tmp/ as a fallback!");
    baseDir = "/tmp/";
  }
  OXString folder;
  try {
    folder = path::appendingComponent(*baseDir, scratchPattern);
  } catch (const std::bad_alloc&) {
    logLine("Could not allocate memory for generating temp dir name!");
    return std::nullopt;
  }
  if (!hasNoNul(*folder) || !files::createUniqueFolder(folder->data())) {
    logFailedCreation();
    folder.reset();
  }
  return folder;
}

OXString OXCreateTemporaryDirectory() {
  return OXCreateTemporaryDirectoryInDir(files::temporaryFolder());
}

OXString OXCreateUniqueTempDir() {
  const std::string_view base = files::temporaryFolder();
  try {
    std::string folder = path::appendingComponent(base, uniquePattern);
    if (files::createUniqueFolder(folder.data())) {
      return folder;
    }
  } catch (const std::bad_alloc&) {
    // No room for the longer name: what is promised is a folder to use, and the base is one.
  }
  return std::string(base);
}
