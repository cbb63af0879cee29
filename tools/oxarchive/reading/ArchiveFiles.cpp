#include "reading/ArchiveFiles.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "console/Console.h"
#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/WorkerProcess.h"
#include "system/Cage.h"
#include "system/Headway.h"
#include "system/Interruption.h"

namespace oxarchive {
namespace {

// Texts are NUL-terminated, since no name contains NUL.
void append(std::string& texts, const std::string& text) {
  texts += text + '\0';
}

std::string takeFirst(std::string_view& texts) {
  const std::size_t end = std::min(texts.find('\0'), texts.size());
  std::string text(texts.substr(0, end));
  texts.remove_prefix(std::min(end + 1, texts.size()));
  return text;
}

// The archive, and its possible volumes that are symbolic links, which may lead to other folders.
std::vector<std::string> filesElsewhere(const std::string& path, const std::string& folder) {
  namespace fs = std::filesystem;
  std::vector<std::string> files{path};
  const std::string name = path.substr(path.rfind('/') + 1);
  std::error_code error;
  for (const fs::directory_entry& item : fs::directory_iterator(folder, error)) {
    if (item.path().filename().string().starts_with(name.substr(0, name.find('.', 1))) &&
        item.is_symlink(error)) {
      files.push_back(item.path());
    }
  }
  return files;
}

int sendVolumes(const std::string& path, const Limits& limits) {
  const std::size_t slash = path.rfind('/');
  demandHeadway(static_cast<unsigned>(limits.patience));
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  std::string texts;
  try {
    enterCage({.readableFiles = filesElsewhere(path, folder),
               .readableFolder = folder,
               .memory = limits.memory});
    const VolumeSet set = findVolumes(path);
    append(texts, "");
    append(texts, set.name);
    append(texts, set.folder);
    for (const std::string& volume : set.paths) {
      append(texts, volume);
    }
  } catch (const std::exception& failure) {
    append(texts, failure.what());
  }
  return writeAll(STDOUT_FILENO, texts) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

VolumeSet findArchiveFiles(const std::string& path, const Limits& limits) {
  WorkerProcess worker([&] { return sendVolumes(path, limits); });
  const std::string texts = worker.readAll();
  const WorkerEnd end = worker.wait();
  throwIfInterrupted();
  std::string_view rest = texts;
  const std::string failure = takeFirst(rest);
  if (!failure.empty()) {
    throw ArchiveFailure(printable(failure));
  }
  VolumeSet set;
  set.name = takeFirst(rest);
  set.folder = takeFirst(rest);
  while (!rest.empty()) {
    set.paths.push_back(takeFirst(rest));
  }
  if (end.exitCode != EXIT_SUCCESS || set.paths.empty()) {
    throw ArchiveFailure("the process that searched for its files failed");
  }
  return set;
}

}  // namespace oxarchive
