#include "commands/ExtractCommand.h"

#include <OrvexKit/OXFileUtil.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "commands/TrashedArchives.h"
#include "console/Failure.h"
#include "console/Password.h"
#include "console/Printable.h"
#include "console/SizeText.h"
#include "extraction/SafeExtractor.h"
#include "reading/ArchiveReader.h"
#include "system/Descriptor.h"
#include "system/FolderStream.h"
#include "system/Interruption.h"
#include "volumes/VolumeSet.h"

namespace oxarchive {
namespace {

mode_t fileCreationMask() {
  const mode_t mask = ::umask(077);
  ::umask(mask);
  return mask;
}

bool isFolder(const std::string& path) {
  struct ::stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The folders that were made for an archive. They go with this object as far as they are empty,
// unless they are to be kept.
class NewFolders {
 public:
  NewFolders() = default;
  ~NewFolders() {
    for (; !made_.empty(); made_.pop_back()) {
      ::rmdir(made_.back().c_str());
    }
  }
  NewFolders(const NewFolders&) = delete;
  NewFolders(NewFolders&&) = delete;
  NewFolders& operator=(const NewFolders&) = delete;
  NewFolders& operator=(NewFolders&&) = delete;

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
      if (!isFolder(folder)) {
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

[[noreturn]] void failToOpen(const std::string& folder, int error) {
  throw ArchiveFailure(withSystemReason("cannot open the folder " + printable(folder), error));
}

bool isEmptyFolder(int fd, const std::string& path) {
  const FolderStream stream = listFolder(fd);
  if (!stream) {
    failToOpen(path, errno);
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
    failToOpen(*path, error);
  }
  if (!isEmptyFolder(folder.descriptor.get(), *path)) {
    throw ArchiveFailure("no new folder could be made at " + printable(*path));
  }
  return folder;
}

// Whether the link at `path` in the folder leads out of it, over other links too.
bool leadsOut(const std::string& folder, const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path top = fs::weakly_canonical(folder, error);
  const fs::path link = top / path;
  const fs::path target =
      fs::weakly_canonical(link.parent_path() / fs::read_symlink(link, error), error);
  return error || !(target.string() + "/").starts_with(top.string() + "/");
}

// One archive on its way into its folder.
class Extraction {
 public:
  Extraction(const std::string& archive, const VolumeSet& volumes, const OXString& password,
             Console& console)
      : label_(printable(archive)),
        volumes_(volumes),
        console_(console),
        reader_(volumes, password) {}

  // Whether all of it was extracted. Throws ArchiveFailure when nothing was, and nothing is left of
  // it.
  bool run(const std::string& destination) {
    // Nothing is made before it is clear that there is an archive.
    const Entry* entry = reader_.next();
    NewFolders made;
    made.makeWayTo(destination);
    ExtractionFolder folder = makeFolder(volumes_, destination, made);
    folderPath_ = folder.path;
    SafeExtractor extractor(std::move(folder.descriptor), fileCreationMask());
    std::string damage;
    try {
      damage = extractAll(entry, extractor);
    } catch (...) {
      extractor.discard();
      throw;
    }
    made.keep();
    makeDelayedLinks(extractor);
    // Before folders are closed to this process, by the permissions that they have in the archive.
    const std::uint64_t size = extractedSize();
    extractor.finish();
    return tell(damage, size);
  }

  bool hasEntries() const { return entries_ > 0; }

 private:
  // Extracts from `entry` on, and gives the reason why it had to stop before the end, or "".
  std::string extractAll(const Entry* entry, SafeExtractor& extractor) {
    try {
      for (; entry != nullptr; entry = reader_.next()) {
        throwIfInterrupted();
        showProgress();
        extractOne(*entry, extractor);
      }
    } catch (const ArchiveFailure& failure) {
      if (entries_ == 0) {
        throw;
      }
      return failure.what();
    }
    // Folders and empty files alone are of no use.
    if (encrypted_ > 0 && bytes_ == 0) {
      throw EncryptedArchive(whyEncrypted_);
    }
    if (entries_ == 0 && failures_ > 0) {
      throw ArchiveFailure("nothing in it could be extracted");
    }
    return "";
  }

  void makeDelayedLinks(SafeExtractor& extractor) {
    try {
      std::uint64_t count = 0;
      for (const std::string& path : extractor.makeDelayedLinks()) {
        count += leadsOut(folderPath_, path) ? 1U : 0U;
      }
      if (count > 0) {
        console_.message(label_ + ": " + std::to_string(count) +
                         " of the links in it lead out of the folder " + printable(folderPath_));
      }
    } catch (const std::runtime_error& failure) {
      console_.message(label_ + ": a link: " + failure.what());
      ++failures_;
    }
  }

  void extractOne(const Entry& entry, SafeExtractor& extractor) {
    if (!entry.warning.empty()) {
      tellOf(entry, "warning: " + entry.warning);
    }
    if (entry.path.starts_with('/') && !std::exchange(areAbsoluteTold_, true)) {
      console_.message(label_ + ": its absolute names are taken to start at the new folder");
    }
    try {
      bytes_ += extractor.extract(entry, [this] {
        throwIfInterrupted();
        showProgress();
        return reader_.readData();
      });
      ++entries_;
      longestPath_ = std::max(longestPath_, entry.path.size());
    } catch (const EncryptedEntry& failure) {
      whyEncrypted_ = failure.what();
      ++encrypted_;
      ++failures_;
    } catch (const EntryFailure& failure) {
      tellOf(entry, failure.what());
      ++failures_;
    }
  }

  void tellOf(const Entry& entry, const std::string& what) {
    const std::string subject = entry.path.empty() ? "an entry" : printable(entry.path);
    console_.message(label_ + ": " + subject + ": " + what);
  }

  // Of what has become of the archive on disk, where a later entry may have replaced an earlier
  // one. The library leaves out what has a long path; the data that was written is nearer to it
  // then.
  std::uint64_t extractedSize() const {
    constexpr std::size_t longestCounted = 1021;
    if (folderPath_.size() + 1 + longestPath_ > longestCounted) {
      return bytes_;
    }
    return static_cast<std::uint64_t>(OXGetTotalFolderSize(folderPath_));
  }

  bool tell(const std::string& damage, std::uint64_t size) {
    const bool isComplete = damage.empty() && failures_ == 0;
    if (encrypted_ > 0) {
      console_.message(label_ + ": " + std::to_string(encrypted_) +
                       " of its entries cannot be read: " + whyEncrypted_);
    }
    if (!isComplete) {
      const std::string why =
          damage.empty() ? std::to_string(failures_) + " of its entries could not be extracted"
                         : damage;
      console_.message(label_ + ": " + why + "; the folder " + printable(folderPath_) +
                       " is incomplete");
    }
    console_.result(label_ + " -> " + printable(folderPath_) + ": " + entriesText(entries_, size) +
                    (isComplete ? "" : " (incomplete)"));
    return isComplete;
  }

  void showProgress() { console_.progress().show(label_, reader_.position(), reader_.size()); }

  std::string label_;
  const VolumeSet& volumes_;
  Console& console_;
  ArchiveReader reader_;
  std::string folderPath_;
  std::uint64_t entries_ = 0;
  std::uint64_t bytes_ = 0;
  std::size_t longestPath_ = 0;
  std::uint64_t failures_ = 0;
  std::uint64_t encrypted_ = 0;  // among the failures
  std::string whyEncrypted_;
  bool areAbsoluteTold_ = false;
};

// Which archives were given by which of their volumes, so that one which is named by several of
// them, as by "disk.7z.*", is extracted once.
class GivenArchives {
 public:
  bool isAnotherVolume(const VolumeSet& volumes, const std::string& given) {
    std::set<std::string>& names = names_[volumes.paths.front()];
    const bool isFirstTime = names.empty();
    const bool isNewName = names.insert(given).second;
    return isNewName && !isFirstTime;
  }

 private:
  std::map<std::string, std::set<std::string>> names_;
};

}  // namespace

bool extractArchives(const ExtractOptions& options, Console& console) {
  const OXString password = readPassword(options.password, false);
  GivenArchives given;
  TrashedArchives trashed;
  bool isComplete = true;
  for (const std::string& archive : options.archives) {
    if (isInterrupted()) {
      break;
    }
    try {
      const VolumeSet volumes = findVolumes(archive);
      if (given.isAnotherVolume(volumes, archive)) {
        console.message(printable(archive) + ": a volume of an archive that was given before");
        continue;
      }
      const std::vector<OXFileReference> references = referencesTo(volumes);
      const std::string destination = options.into.value_or(volumes.folder);
      Extraction extraction(archive, volumes, password, console);
      if (!extraction.run(destination)) {
        isComplete = false;
      } else if (extraction.hasEntries()) {
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
