#include "volumes/VolumeSet.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string_view>
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

// The archive, and its possible volumes that are symbolic links, which may lead to other folders.
std::vector<std::string> filesElsewhere(const std::string& path, const std::string& folder) {
  namespace fs = std::filesystem;
  std::vector<std::string> files{path};
  const std::string_view name = nameOf(path);
  std::error_code error;
  for (const fs::directory_entry& item : fs::directory_iterator(folder, error)) {
    if (item.path().filename().string().starts_with(name.substr(0, name.find('.', 1))) &&
        item.is_symlink(error)) {
      files.push_back(item.path());
    }
  }
  return files;
}

// Sends NUL-terminated texts: the reason for a failure, or "" and what is in the VolumeSet.
int sendVolumes(const std::string& path, const Limits& limits) {
  demandHeadway(limits.patience);
  const std::string folder = path.find('/') == std::string::npos ? "." : folderOf(path);
  std::string texts;
  try {
    enterCage({.readableFiles = filesElsewhere(path, folder),
               .readableFolder = folder,
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
