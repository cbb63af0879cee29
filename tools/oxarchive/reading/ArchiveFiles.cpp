#include "reading/ArchiveFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/WorkerProcess.h"
#include "system/Cage.h"
#include "system/FolderStream.h"
#include "system/Headway.h"
#include "system/Interruption.h"

namespace oxarchive {
namespace {

// Texts, each with a NUL at its end, since no name has one.
void append(std::string& texts, const std::string& text) {
  texts += text + '\0';
}

std::string takeFirst(std::string_view& texts) {
  const std::size_t end = std::min(texts.find('\0'), texts.size());
  std::string text(texts.substr(0, end));
  texts.remove_prefix(std::min(end + 1, texts.size()));
  return text;
}

int send(const std::string& texts) {
  std::string_view rest = texts;
  while (!rest.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, rest.data(), rest.size());
    if (count < 0) {
      return EXIT_FAILURE;
    }
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  return EXIT_SUCCESS;
}

// The archive and its possible volumes, where they are links to files that lie elsewhere.
std::vector<std::string> filesElsewhere(const std::string& path, const std::string& folder) {
  std::vector<std::string> files{path};
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::string start = name.substr(0, name.find('.', 1));
  const FolderStream stream = openFolderStream(folder.c_str());
  while (const char* const each = stream ? nextName(stream) : nullptr) {
    struct ::stat status {};
    const std::string item = folder + "/" + each;
    if (std::string_view(each).starts_with(start) && ::lstat(item.c_str(), &status) == 0 &&
        S_ISLNK(status.st_mode)) {
      files.push_back(item);
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
  return send(texts);
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
    throw ArchiveFailure("the process that looked for its files has failed");
  }
  return set;
}

}  // namespace oxarchive
