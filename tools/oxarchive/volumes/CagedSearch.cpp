// SPDX-License-Identifier: MIT

#include "volumes/VolumeSet.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <vector>

#include "console/Console.h"
#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Cage.h"
#include "system/Interruption.h"
#include "system/Limits.h"
#include "system/PathText.h"
#include "system/WorkerProcess.h"

namespace oxarchive {
namespace {

// The archive, and the files beside it that may be its volumes: their names start alike, up to the
// last extensions. If the folder cannot be listed, everything in it.
std::vector<std::string> possibleVolumes(const std::string& path, const std::string& folder) {
  namespace fs = std::filesystem;
  std::vector<std::string> files{path};
  const std::string start = fs::path(nameOf(path)).stem().stem().string() + ".";
  std::error_code error;
  for (const fs::directory_entry& item : fs::directory_iterator(folder, error)) {
    std::error_code unknown;
    if (nameOf(item.path().string()).starts_with(start) && item.is_regular_file(unknown)) {
      files.push_back(item.path());
    }
  }
  if (error) {
    files.push_back(folder);
  }
  return files;
}

// Sends NUL-terminated texts: the reason for a failure, or "" and what is in the VolumeSet.
int sendVolumes(const std::string& path, const Limits& limits) {
  demandHeadway(limits.patience);
  const std::string folder = path.find('/') == std::string::npos ? "." : folderOf(path);
  std::string texts;
  try {
    enterCage({.readableFiles = possibleVolumes(path, folder),
               .listableFolder = folder,
               .memory = limits.memory});
    const VolumeSet set = findVolumes(path);
    texts = '\0' + set.name + '\0' + set.folder + '\0';
    for (const std::string& volume : set.paths) {
      texts += volume + '\0';
    }
  } catch (const std::exception& failure) {
    texts = failure.what();
  }
  return writeAll(STDOUT_FILENO, texts) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

VolumeSet findVolumesCaged(const std::string& path, const Limits& limits) {
  WorkerProcess worker([&] { return sendVolumes(path, limits); });
  std::istringstream texts(worker.readAll());
  const WorkerEnd end = worker.wait();
  throwIfInterrupted();
  std::string failure;
  std::getline(texts, failure, '\0');
  if (!failure.empty()) {
    throw ArchiveFailure(printable(failure));
  }
  VolumeSet set;
  std::getline(texts, set.name, '\0');
  std::getline(texts, set.folder, '\0');
  for (std::string volume; std::getline(texts, volume, '\0');) {
    set.paths.push_back(volume);
  }
  if (end.exitCode != EXIT_SUCCESS || set.paths.empty()) {
    const std::string reason = end.reason();
    throw ArchiveFailure(reason.empty() ? "the process that searched for its files failed"
                                        : reason);
  }
  return set;
}

}  // namespace oxarchive
