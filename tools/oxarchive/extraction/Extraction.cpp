// SPDX-License-Identifier: MIT

#include "extraction/Extraction.h"

#include <OrvexKit/OXFileUtil.h>
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
#include "system/Interruption.h"
#include "system/Limits.h"

namespace oxarchive {
namespace {

namespace fs = std::filesystem;

mode_t fileCreationMask() {
  const mode_t mask = ::umask(077);
  ::umask(mask);
  return mask;
}

// Whether the link at `path` in the canonical folder `top` leads out of it, directly or through
// other links. Links in a circle lead nowhere.
bool leadsOut(const fs::path& top, const std::string& path) {
  std::error_code error;
  const fs::path link = top / path;
  const fs::path target =
      fs::weakly_canonical(link.parent_path() / fs::read_symlink(link, error), error);
  return error ? error != std::errc::too_many_symbolic_link_levels
               : !(target.string() + "/").starts_with(top.string() + "/");
}

class Extraction {
 public:
  Extraction(const ExtractionJob& job, ExtractionReport& report, Console& console)
      : job_(job),
        report_(report),
        console_(console),
        label_(printable(job.archive)),
        reader_(job.volumes, job.password) {}

  // Returns whether everything was extracted. If nothing was, removes what was made and throws
  // ArchiveFailure.
  bool run() {
    SafeExtractor extractor(job_.descriptor, fileCreationMask());
    std::string damage;
    try {
      damage = extractAll(extractor);
      makeDelayedLinks(extractor);
      if (report_.entries == 0 && failures_ > 0) {
        throw ArchiveFailure("nothing in it could be extracted");
      }
    } catch (...) {
      extractor.discard();
      throw;
    }
    // Before `finish`: the archive's permissions may make folders unreadable to this process.
    report_.size = extractedSize();
    report_.isSizeKnown = true;
    extractor.finish();
    return tellResult(damage);
  }

 private:
  // Returns the reason for stopping before the end, or "".
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
    // Folders and empty files alone do not count as a result.
    if (encrypted_ > 0 && bytes_ == 0) {
      throw ArchiveFailure(whyEncrypted_);
    }
    return "";
  }

  void makeDelayedLinks(SafeExtractor& extractor) {
    const std::vector<std::string> links =
        extractor.makeDelayedLinks([this](const std::string& path, const std::string& reason) {
          tell(printable(path) + ": " + reason);
          ++failures_;
          --report_.entries;
        });
    std::error_code error;
    const fs::path top = fs::weakly_canonical(job_.folder, error);
    const auto count = std::ranges::count_if(links, [&top](const std::string& path) {
      noteHeadway();
      return leadsOut(top, path);
    });
    if (count > 0) {
      tell(std::to_string(count) + " of the links in it lead out of the folder " +
           printable(job_.folder));
    }
  }

  void extractOne(const Entry& entry, SafeExtractor& extractor) {
    if (!entry.warning.empty()) {
      tellOf(entry, "warning: " + entry.warning);
    }
    if (entry.path.starts_with('/') && !std::exchange(areAbsoluteTold_, true)) {
      tell("its absolute paths are extracted below the new folder");
    }
    checkLimit(++entriesRead_, job_.limits.entries, "entries");
    markUnfinished(entry.path);
    try {
      bytes_ += extractor.extract(entry, [&] {
        throwIfInterrupted();
        showProgress();
        const std::optional<DataBlock> block = reader_.readData();
        if (block && !block->bytes.empty()) {
          noteHeadway();
        }
        const std::uint64_t holeEnd = entry.hasHoleAtEnd ? entry.size.value_or(0) : 0;
        const std::uint64_t end = block ? block->offset + block->bytes.size() : holeEnd;
        checkLimit(bytes_ + end, job_.limits.size, "bytes");
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

  // Tells the parent what to remove if this process is killed.
  void markUnfinished(const std::string& path) {
    const std::size_t length = std::min(path.size(), report_.unfinished.size() - 1);
    path.copy(report_.unfinished.data(), length);
    report_.unfinished.at(length) = '\0';
  }

  void tell(const std::string& what) { console_.message(label_ + ": " + what); }

  void tellOf(const Entry& entry, const std::string& what) {
    tell((entry.path.empty() ? "an entry" : printable(entry.path)) + ": " + what);
  }

  // The size on disk, since a later entry may have replaced an earlier one. The library truncates
  // long paths and would miss files; then the number of bytes written is the better figure.
  std::uint64_t extractedSize() const {
    constexpr std::size_t longestCounted = 1021;
    if (job_.folder.size() + 1 + longestPath_ > longestCounted) {
      return bytes_;
    }
    return static_cast<std::uint64_t>(OXGetTotalFolderSize(job_.folder));
  }

  // Returns whether everything was extracted.
  bool tellResult(const std::string& damage) {
    const std::string incomplete = "; the folder " + printable(job_.folder) + " is incomplete";
    const bool isRestWhole = damage.empty() && failures_ == encrypted_;
    if (encrypted_ > 0) {
      tell(std::to_string(encrypted_) + " of its entries cannot be read: " + whyEncrypted_ +
           (isRestWhole ? incomplete : ""));
    }
    if (!isRestWhole) {
      const std::string failed =
          std::to_string(failures_) + " of its entries could not be extracted";
      tell((damage.empty() ? failed : damage) + incomplete);
    }
    return isRestWhole && encrypted_ == 0;
  }

  void showProgress() { console_.showProgress(label_, reader_.position(), reader_.size()); }

  const ExtractionJob& job_;
  ExtractionReport& report_;
  Console& console_;
  std::string label_;
  ArchiveReader reader_;
  std::uint64_t entriesRead_ = 0;
  std::uint64_t bytes_ = 0;
  std::size_t longestPath_ = 0;
  std::uint64_t failures_ = 0;
  std::uint64_t encrypted_ = 0;  // among the failures
  std::string whyEncrypted_;
  bool areAbsoluteTold_ = false;
};

}  // namespace

ExtractionEnd extractCaged(const ExtractionJob& job, ExtractionReport& report, Console& console) {
  ExtractionEnd end = ExtractionEnd::nothing;
  std::string reason;
  try {
    catchInterruptions(false);  // the parent decides when to stop
    demandHeadway(job.limits.patience);
    enterCage(
        {.readableFiles = job.volumes, .writableFolder = job.folder, .memory = job.limits.memory});
    const bool isWhole = Extraction(job, report, console).run();
    end = isWhole ? ExtractionEnd::whole : ExtractionEnd::incomplete;
  } catch (const std::bad_alloc&) {
    reason = "it takes more memory than is allowed";
  } catch (const std::exception& failure) {
    reason = failure.what();
  }
  if (!reason.empty()) {
    console.message(printable(job.archive) + ": " + reason);
  }
  console.clearProgress();
  return end;
}

void removeUnfinished(const ExtractionJob& job, const ExtractionReport& report) {
  const std::string path(report.unfinished.data(),
                         ::strnlen(report.unfinished.data(), report.unfinished.size()));
  try {
    SafeExtractor(job.descriptor, 0).removeFile(path);
  } catch (const std::runtime_error&) {
    // It does not exist.
  }
}

}  // namespace oxarchive
