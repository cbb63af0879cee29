#include "extraction/Extraction.h"

#include <OrvexKit/OXFileUtil.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

#include "console/Failure.h"
#include "console/Printable.h"
#include "extraction/SafeExtractor.h"
#include "reading/ArchiveReader.h"
#include "system/Cage.h"
#include "system/FolderStream.h"
#include "system/Headway.h"
#include "system/Interruption.h"

namespace oxarchive {
namespace {

mode_t fileCreationMask() {
  const mode_t mask = ::umask(077);
  ::umask(mask);
  return mask;
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

class Extraction {
 public:
  Extraction(ExtractionJob& job, ExtractionReport& report, Console& console)
      : job_(job),
        report_(report),
        console_(console),
        label_(printable(job.archive)),
        reader_(job.volumes, job.password) {}

  // Whether all of it was extracted. Throws ArchiveFailure when nothing was, and nothing is left of
  // it.
  bool run() {
    SafeExtractor extractor(std::move(job_.descriptor), fileCreationMask());
    std::string damage;
    try {
      damage = extractAll(extractor);
    } catch (...) {
      extractor.discard();
      throw;
    }
    makeDelayedLinks(extractor);
    // Before folders are closed to this process, by the permissions that they have in the archive.
    report_.size = extractedSize();
    report_.isSizeKnown = true;
    extractor.finish();
    return tell(damage);
  }

 private:
  // Gives the reason why it had to stop before the end, or "".
  std::string extractAll(SafeExtractor& extractor) {
    try {
      while (const Entry* const entry = reader_.next()) {
        noteHeadway();
        throwIfInterrupted();
        showProgress();
        extractOne(*entry, extractor);
      }
    } catch (const ArchiveFailure& failure) {
      if (report_.entries == 0) {
        throw;
      }
      return failure.what();
    }
    // Folders and empty files alone are of no use.
    if (encrypted_ > 0 && bytes_ == 0) {
      throw EncryptedArchive(whyEncrypted_);
    }
    if (report_.entries == 0 && failures_ > 0) {
      throw ArchiveFailure("nothing in it could be extracted");
    }
    return "";
  }

  void makeDelayedLinks(SafeExtractor& extractor) {
    try {
      std::uint64_t count = 0;
      for (const std::string& path : extractor.makeDelayedLinks()) {
        count += leadsOut(job_.folder, path) ? 1U : 0U;
      }
      if (count > 0) {
        console_.message(label_ + ": " + std::to_string(count) +
                         " of the links in it lead out of the folder " + printable(job_.folder));
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
    checkLimit(report_.entries + 1, job_.limits.entries, "entries");
    std::uint64_t size = 0;
    markUnfinished(entry.path);
    try {
      bytes_ += extractor.extract(entry, [&] {
        throwIfInterrupted();
        showProgress();
        const std::optional<DataBlock> block = reader_.readData();
        if (block && !block->bytes.empty()) {
          noteHeadway();
          size = block->offset + block->bytes.size();
          checkLimit(bytes_ + size, job_.limits.size, "bytes");
        }
        return block;
      });
      ++report_.entries;
      longestPath_ = std::max(longestPath_, entry.path.size());
    } catch (const EncryptedEntry& failure) {
      whyEncrypted_ = failure.what();
      ++encrypted_;
      ++failures_;
    } catch (const EntryFailure& failure) {
      tellOf(entry, failure.what());
      ++failures_;
    }
    markUnfinished("");
  }

  // For the case that this process comes to a sudden end.
  void markUnfinished(const std::string& path) {
    const std::size_t length = std::min(path.size(), report_.unfinished.size() - 1);
    path.copy(report_.unfinished.data(), length);
    report_.unfinished.at(length) = '\0';
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
    if (job_.folder.size() + 1 + longestPath_ > longestCounted) {
      return bytes_;
    }
    return static_cast<std::uint64_t>(OXGetTotalFolderSize(job_.folder));
  }

  bool tell(const std::string& damage) {
    if (encrypted_ > 0) {
      console_.message(label_ + ": " + std::to_string(encrypted_) +
                       " of its entries cannot be read: " + whyEncrypted_);
    }
    const bool isComplete = damage.empty() && failures_ == 0;
    if (!isComplete) {
      const std::string why =
          damage.empty() ? std::to_string(failures_) + " of its entries could not be extracted"
                         : damage;
      console_.message(label_ + ": " + why + "; the folder " + printable(job_.folder) +
                       " is incomplete");
    }
    return isComplete;
  }

  void showProgress() { console_.progress().show(label_, reader_.position(), reader_.size()); }

  ExtractionJob& job_;
  ExtractionReport& report_;
  Console& console_;
  std::string label_;
  ArchiveReader reader_;
  std::uint64_t bytes_ = 0;
  std::size_t longestPath_ = 0;
  std::uint64_t failures_ = 0;
  std::uint64_t encrypted_ = 0;  // among the failures
  std::string whyEncrypted_;
  bool areAbsoluteTold_ = false;
};

// Throws ArchiveFailure when nothing was extracted.
ExtractionEnd extract(ExtractionJob& job, ExtractionReport& report, Console& console) {
  catchInterruptions(false);  // the parent decides when it is enough
  demandHeadway(static_cast<unsigned>(job.limits.patience));
  enterCage(
      {.readableFiles = job.volumes, .writableFolder = job.folder, .memory = job.limits.memory});
  try {
    const bool isWhole = Extraction(job, report, console).run();
    return isWhole ? ExtractionEnd::whole : ExtractionEnd::incomplete;
  } catch (const std::bad_alloc&) {
    throw ArchiveFailure("it takes more memory than is allowed");
  }
}

}  // namespace

ExtractionEnd extractCaged(ExtractionJob& job, ExtractionReport& report, Console& console) {
  ExtractionEnd end = ExtractionEnd::nothing;
  try {
    end = extract(job, report, console);
  } catch (const std::exception& failure) {
    console.message(printable(job.archive) + ": " + failure.what());
  }
  console.progress().clear();
  return end;
}

void removeUnfinished(const ExtractionJob& job, const ExtractionReport& report) {
  const std::string path(report.unfinished.data(),
                         ::strnlen(report.unfinished.data(), report.unfinished.size()));
  try {
    SafeExtractor(Descriptor(::fcntl(job.descriptor.get(), F_DUPFD_CLOEXEC, 0)), 0)
        .removeFile(path);
  } catch (const std::runtime_error&) {
    // There is none.
  }
}

}  // namespace oxarchive
