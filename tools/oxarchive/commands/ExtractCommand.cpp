// SPDX-License-Identifier: MIT

#include "commands/Commands.h"

#include <OrvexKit/OXFileUtil.h>
#include <OrvexKit/platform/OXFileReference.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "console/Failure.h"
#include "console/Password.h"
#include "console/Printable.h"
#include "extraction/Extraction.h"
#include "system/Files.h"
#include "system/Interruption.h"
#include "system/PathText.h"
#include "system/Uncopied.h"
#include "system/WorkerProcess.h"
#include "volumes/VolumeSet.h"

namespace oxarchive {
namespace {

// The folders that were made for an archive. The destructor removes those that are empty, unless
// `keep` was called.
class NewFolders : Uncopied {
 public:
  ~NewFolders() {
    for (; !made_.empty(); made_.pop_back()) {
      ::rmdir(made_.back().c_str());
    }
  }

  // Makes `destination` and its missing parents. Creation itself tells whether a folder is new: a
  // check beforehand would take an existing folder behind "missing/.." for a new one.
  void makeWayTo(const std::string& destination) {
    std::size_t end = 0;
    while (end < destination.size()) {
      end = std::min(destination.find('/', end + 1), destination.size());
      const std::string folder = destination.substr(0, end);
      if (::mkdir(folder.c_str(), 0777) == 0) {
        made_.push_back(folder);
        continue;
      }
      const int error = errno;
      std::error_code ignored;
      if (!std::filesystem::is_directory(folder, ignored)) {
        throw ArchiveFailure(withSystemReason("cannot make the folder " + printable(folder),
                                              error == EEXIST ? ENOTDIR : error));
      }
    }
  }

  // Adds a folder that was made elsewhere.
  void add(const std::string& folder) { made_.push_back(folder); }

  void keep() { made_.clear(); }

 private:
  std::vector<std::string> made_;  // outermost first
};

bool isEmptyFolder(int fd, const std::string& path) {
  const FolderStream stream = listFolder(fd);
  if (!stream) {
    throw ArchiveFailure(withSystemReason("cannot open the folder " + printable(path), errno));
  }
  return nextName(stream) == nullptr;
}

// Makes the folder of an archive in `destination`. Returns its path.
std::string makeFolder(const VolumeSet& volumes, const std::string& destination) {
  const OXString name = OXFileUtilAdditions::stringByDeletingArchiveExtension(volumes.name);
  const OXString path = OXSafelyCreateArchiveSubdir(name, destination, false);
  if (!path) {
    throw ArchiveFailure("a folder cannot be called " + printable(*name));
  }
  // The library returns a path even if it could not make the folder; another try tells why.
  if (::mkdir(path->c_str(), 0777) != 0 && errno != EEXIST) {
    throw ArchiveFailure(withSystemReason("cannot make the folder " + printable(*path), errno));
  }
  return *path;
}

Descriptor openNewFolder(const std::string& path) {
  Descriptor folder(::open(path.c_str(), folderFlags));
  if (!folder.isOpen()) {
    throw ArchiveFailure(withSystemReason("cannot open the folder " + printable(path), errno));
  }
  if (!isEmptyFolder(folder.get(), path)) {
    throw ArchiveFailure("no new folder could be made at " + printable(path));
  }
  return folder;
}

// A report in memory that this process shares with its children.
using SharedReport = std::shared_ptr<ExtractionReport>;

SharedReport newSharedReport() {
  void* const memory = ::mmap(nullptr, sizeof(ExtractionReport), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::bad_alloc();
  }
  return {new (memory) ExtractionReport(),
          [](ExtractionReport* report) { ::munmap(report, sizeof *report); }};
}

// The volumes of an archive as items on disk; those that cannot be examined are left out.
std::vector<OXFileReference> referencesTo(const VolumeSet& volumes) {
  std::vector<OXFileReference> references;
  for (const std::string& path : volumes.paths) {
    OXFileReference reference;
    if (OXReferenceFromPath(reference, path)) {
      references.push_back(std::move(reference));
    }
  }
  return references;
}

// The canonical path of the folder that `path` is in.
std::string realFolderOf(const std::string& path) {
  const std::string folder = path.find('/') == std::string::npos ? "." : folderOf(path);
  return OXFileUtilAdditions::canonicalPath(folder).value_or(folder);
}

// Moves a volume to the Trash. Returns "" or the reason for a failure.
std::string trash(const OXFileReference& volume) {
  OXFileReference now;
  if (!OXReferenceFromPath(now, volume.path)) {
    return "it no longer exists";
  }
  if (now != volume) {
    return "it was replaced while it was extracted";
  }
  return OXMoveFileToTrashSync(volume.path) ? "" : "it cannot be moved to the Trash";
}

class Extractions {
 public:
  Extractions(const Options& options, Console& console)
      : options_(options), console_(console), password_(readPassword(options.password, false)) {}

  // Returns whether everything was done.
  bool run() {
    for (const std::string& archive : options_.operands) {
      if (isInterrupted()) {
        break;
      }
      try {
        extractGiven(archive);
      } catch (const ArchiveFailure& failure) {
        fail(printable(archive) + ": " + failure.what());
      }
    }
    console_.clearProgress();
    // An archive whose folder could not be reported to the user is not moved to the Trash.
    if (options_.isTrashing && !isInterrupted() && console_.areResultsWritten()) {
      moveToTrash();
    }
    return isComplete_ && !isInterrupted();
  }

 private:
  void fail(const std::string& message) {
    console_.message(message);
    isComplete_ = false;
  }

  void extractGiven(const std::string& archive) {
    const VolumeSet volumes = findVolumesCaged(archive, options_.limits);
    std::set<std::string>& names = given_[volumes.paths.front()];
    const bool isFirst = names.empty();
    if (names.insert(archive).second && !isFirst) {
      console_.message(printable(archive) + ": a volume of an archive that was already given");
      return;
    }
    const std::vector<OXFileReference> references = referencesTo(volumes);
    const std::uint64_t entries =
        extractTo(options_.into.value_or(volumes.folder), archive, volumes);
    if (entries > 0) {
      addToTrash(references);
    }
  }

  // Extracts to a new folder in `destination`. Returns the number of entries if the archive was
  // complete. Throws ArchiveFailure if there is no folder in the end.
  std::uint64_t extractTo(const std::string& destination, const std::string& archive,
                          const VolumeSet& volumes) {
    checkTemporaryFolder();
    NewFolders made;
    made.makeWayTo(destination);
    const std::string folder = makeFolder(volumes, destination);
    made.add(folder);
    const ExtractionJob job{archive,         volumes.paths, password_,
                            options_.limits, folder,        openNewFolder(folder)};
    const SharedReport report = newSharedReport();
    WorkerProcess worker([&] { return static_cast<int>(extractCaged(job, *report, console_)); },
                         job.descriptor.get());
    worker.readAll();
    const WorkerEnd end = worker.wait();
    const std::string reason = end.reason();
    if (!reason.empty()) {
      console_.clearAnyProgress();
      removeUnfinished(job, *report);
    }
    const bool isWhole = end.exitCode == static_cast<int>(ExtractionEnd::whole);
    const bool isNothing = end.exitCode == static_cast<int>(ExtractionEnd::nothing) ||
                           (!reason.empty() && report->entries == 0);
    if (!isNothing || !isEmptyFolder(job.descriptor.get(), job.folder)) {
      made.keep();
      tell(job, *report, reason, isWhole);
    } else if (!reason.empty()) {
      throw ArchiveFailure(reason);
    }
    if (isWhole && report->entries == 0 && options_.isTrashing) {
      fail(printable(archive) + " stays where it is: there was nothing in it");
    }
    isComplete_ = isComplete_ && isWhole;
    return isWhole ? report->entries.load() : 0;
  }

  void tell(const ExtractionJob& job, const ExtractionReport& report, const std::string& reason,
            bool isWhole) {
    if (!reason.empty()) {
      console_.message(printable(job.archive) + ": " + reason + "; the folder " +
                       printable(job.folder) + " is incomplete");
    }
    const std::uint64_t size = report.isSizeKnown
                                   ? report.size.load()
                                   : static_cast<std::uint64_t>(OXGetTotalFolderSize(job.folder));
    console_.result(printable(job.archive) + " -> " + printable(job.folder) + ": " +
                    entriesText(report.entries, size) + (isWhole ? "" : " (incomplete)"));
  }

  // Adds the volumes of an archive, as they were before it was read. The same volume by another
  // path counts once.
  void addToTrash(const std::vector<OXFileReference>& volumes) {
    for (const OXFileReference& volume : volumes) {
      if (trashedNames_.emplace(realFolderOf(volume.path), nameOf(volume.path)).second) {
        trashed_.push_back(volume);
      }
    }
  }

  void moveToTrash() {
    for (const OXFileReference& volume : trashed_) {
      const std::string reason = trash(volume);
      if (!reason.empty()) {
        fail(printable(volume.path) + " stays where it is: " + reason);
      }
    }
  }

  const Options& options_;
  Console& console_;
  OXString password_;
  bool isComplete_ = true;
  // The volumes by which each archive was given: an archive named by several of its volumes, as
  // with "disk.7z.*", is extracted once.
  std::map<std::string, std::set<std::string>> given_;
  // Moved to the Trash at the end: until then another argument may name a volume of the same
  // archive.
  std::vector<OXFileReference> trashed_;
  std::set<std::pair<std::string, std::string>> trashedNames_;
};

}  // namespace

bool extractArchives(const Options& options, Console& console) {
  catchInterruptions(true);
  return Extractions(options, console).run();
}

}  // namespace oxarchive
