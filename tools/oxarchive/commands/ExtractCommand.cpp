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
#include "console/SizeText.h"
#include "extraction/Extraction.h"
#include "reading/ArchiveFiles.h"
#include "reading/EntryPath.h"
#include "reading/WorkerProcess.h"
#include "system/Descriptor.h"
#include "system/FolderStream.h"
#include "system/Interruption.h"
#include "system/TemporaryFolder.h"
#include "system/Uncopied.h"
#include "volumes/VolumeSet.h"

namespace oxarchive {
namespace {

// The folders that were made for an archive. They go with this object as far as they are empty,
// unless they are to be kept.
class NewFolders : Uncopied {
 public:
  NewFolders() = default;
  ~NewFolders() {
    for (; !made_.empty(); made_.pop_back()) {
      ::rmdir(made_.back().c_str());
    }
  }

  // Makes what is missing on the way to `destination`, itself included. Whether a folder is new is
  // what its creation says: behind "missing/.." one that was there before looks missing too.
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

  // Of a folder that was made by other means.
  void add(const std::string& folder) { made_.push_back(folder); }

  void keep() { made_.clear(); }

 private:
  std::vector<std::string> made_;  // from the outermost inwards
};

bool isEmptyFolder(int fd, const std::string& path) {
  const FolderStream stream = listFolder(fd);
  if (!stream) {
    throw ArchiveFailure(withSystemReason("cannot open the folder " + printable(path), errno));
  }
  return nextName(stream) == nullptr;
}

// A new folder that is empty and open.
struct ExtractionFolder {
  std::string path;
  Descriptor descriptor;
};

ExtractionFolder makeFolder(const VolumeSet& volumes, const std::string& destination,
                            NewFolders& made) {
  const OXString name = OXFileUtilAdditions::stringByDeletingArchiveExtension(volumes.name);
  const OXString path = OXSafelyCreateArchiveSubdir(name, destination, false);
  if (!path) {
    throw ArchiveFailure("no folder can be made that is called " + printable(*name));
  }
  ExtractionFolder folder{*path, Descriptor(::open(path->c_str(), folderFlags))};
  int error = folder.descriptor.isOpen() ? 0 : errno;
  if (error == ENOENT) {
    // A path is given even when no folder could be made there; another try tells why.
    if (::mkdir(path->c_str(), 0777) != 0) {
      throw ArchiveFailure(withSystemReason("cannot make the folder " + printable(*path), errno));
    }
    folder.descriptor = Descriptor(::open(path->c_str(), folderFlags));
    error = folder.descriptor.isOpen() ? 0 : errno;
  }
  made.add(*path);
  if (error != 0) {
    throw ArchiveFailure(withSystemReason("cannot open the folder " + printable(*path), error));
  }
  if (!isEmptyFolder(folder.descriptor.get(), *path)) {
    throw ArchiveFailure("no new folder could be made at " + printable(*path));
  }
  return folder;
}

struct ReportUnmapper {
  void operator()(ExtractionReport* report) const { ::munmap(report, sizeof *report); }
};
using SharedReport = std::unique_ptr<ExtractionReport, ReportUnmapper>;

// One that this process and its children have in common.
SharedReport newSharedReport() {
  void* const memory = ::mmap(nullptr, sizeof(ExtractionReport), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::bad_alloc();
  }
  return SharedReport(new (memory) ExtractionReport());
}

struct Outcome {
  bool isWhole = false;
  std::uint64_t entries = 0;
};

// Extracts to a new folder in `destination`. Throws ArchiveFailure when there is none.
Outcome extractArchive(const std::string& archive, const VolumeSet& volumes,
                       const std::string& destination, const Options& options,
                       const OXString& password, Console& console) {
  checkTemporaryFolder();
  NewFolders made;
  made.makeWayTo(destination);
  ExtractionFolder folder = makeFolder(volumes, destination, made);
  ExtractionJob job{archive,        volumes.paths, password,
                    options.limits, folder.path,   std::move(folder.descriptor)};
  const SharedReport report = newSharedReport();
  WorkerProcess worker([&] { return static_cast<int>(extractCaged(job, *report, console)); });
  worker.readAll();
  const WorkerEnd end = worker.wait();
  const std::string reason = end.reason();
  if (!reason.empty()) {
    console.progress().clearAll();
    removeUnfinished(job, *report);
  }
  const bool isNothing = end.exitCode == static_cast<int>(ExtractionEnd::nothing) ||
                         (!reason.empty() && report->entries == 0);
  if (isNothing && isEmptyFolder(job.descriptor.get(), job.folder)) {
    if (!reason.empty()) {
      throw ArchiveFailure(reason);
    }
    return {};
  }
  made.keep();
  if (!reason.empty()) {
    console.message(printable(archive) + ": " + reason + "; the folder " + printable(job.folder) +
                    " is incomplete");
  }
  const bool isWhole = end.exitCode == static_cast<int>(ExtractionEnd::whole);
  const std::uint64_t size = report->isSizeKnown
                                 ? report->size.load()
                                 : static_cast<std::uint64_t>(OXGetTotalFolderSize(job.folder));
  console.result(printable(archive) + " -> " + printable(job.folder) + ": " +
                 entriesText(report->entries, size) + (isWhole ? "" : " (incomplete)"));
  return {isWhole, report->entries};
}

// Which items the volumes of an archive are. An archive that cannot be looked at has fewer.
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

// A folder's own path, whichever way leads there.
std::string realFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return OXFileUtilAdditions::canonicalPath(folder).value_or(folder);
}

// Moves a volume to the Trash; "" when it is gone, else why it is not.
std::string trash(const OXFileReference& volume) {
  OXFileReference now;
  if (!OXReferenceFromPath(now, volume.path)) {
    return "it is not there any more";
  }
  if (now != volume) {
    return "it was replaced while it was extracted";
  }
  return OXMoveFileToTrashSync(volume.path) ? "" : "it cannot be moved to the Trash";
}

// Archives that are to go to the Trash once all work is done: until then they may be needed again,
// since several volumes of one may have been given.
class TrashedArchives {
 public:
  // All volumes of an archive, as they were before it was read.
  void add(const std::vector<OXFileReference>& volumes) {
    for (const OXFileReference& volume : volumes) {
      if (names_.emplace(realFolderOf(volume.path), nameOf(volume.path)).second) {
        volumes_.push_back(volume);
      }
    }
  }

  // Moves them, and says which had to stay, and why. Whether all are gone.
  bool moveToTrash(Console& console) {
    bool areAllGone = true;
    for (const OXFileReference& volume : volumes_) {
      const std::string reason = trash(volume);
      if (!reason.empty()) {
        console.message(printable(volume.path) + " stays where it is: " + reason);
        areAllGone = false;
      }
    }
    return areAllGone;
  }

 private:
  std::vector<OXFileReference> volumes_;
  std::set<std::pair<std::string, std::string>> names_;  // the same by another path is the same
};

}  // namespace

bool extractArchives(const Options& options, Console& console) {
  catchInterruptions(true);
  const OXString password = readPassword(options.password, false);
  // By which of its volumes each was given: one that is named by several of them, as by
  // "disk.7z.*", is extracted once.
  std::map<std::string, std::set<std::string>> given;
  TrashedArchives trashed;
  bool isComplete = true;
  for (const std::string& archive : options.operands) {
    if (isInterrupted()) {
      break;
    }
    try {
      const VolumeSet volumes = findArchiveFiles(archive, options.limits);
      std::set<std::string>& names = given[volumes.paths.front()];
      const bool isFirst = names.empty();
      if (names.insert(archive).second && !isFirst) {
        console.message(printable(archive) + ": a volume of an archive that was given before");
        continue;
      }
      const std::vector<OXFileReference> references = referencesTo(volumes);
      const std::string destination = options.into.value_or(volumes.folder);
      const Outcome outcome =
          extractArchive(archive, volumes, destination, options, password, console);
      if (!outcome.isWhole) {
        isComplete = false;
      } else if (outcome.entries > 0) {
        trashed.add(references);
      } else if (options.isTrashing) {
        console.message(printable(archive) + " stays where it is: there was nothing in it");
        isComplete = false;
      }
    } catch (const ArchiveFailure& failure) {
      console.message(printable(archive) + ": " + failure.what());
      isComplete = false;
    }
  }
  console.progress().clear();
  // An archive stays where its user has not been told of its folder.
  if (options.isTrashing && !isInterrupted() && console.areResultsWritten()) {
    isComplete = trashed.moveToTrash(console) && isComplete;
  }
  return isComplete && !isInterrupted();
}

}  // namespace oxarchive
