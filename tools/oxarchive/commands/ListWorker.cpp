// SPDX-License-Identifier: MIT

#include <OrvexKit/OrvexKit.h>
#include <unistd.h>

#include <cstdint>
#include <new>
#include <string>

#include "commands/Commands.h"
#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/ArchiveReader.h"
#include "reading/ListedFile.h"
#include "system/Cage.h"
#include "system/Limits.h"
#include "volumes/VolumeSet.h"

namespace oxarchive {
namespace {

std::optional<OXDate> toDate(const std::optional<timespec>& time) {
  if (!time) {
    return std::nullopt;
  }
  return OXDate(OXDate::duration(static_cast<double>(time->tv_sec) +
                                 static_cast<double>(time->tv_nsec) * 1e-9));
}

// Sends the entries of an archive.
class Listing {
 public:
  Listing(const std::string& archive, const Limits& limits, Console& console)
      : archive_(archive), limits_(limits), console_(console) {}

  // Returns whether all of it was sent.
  bool run() {
    std::string reason;
    try {
      sendAll();
      reason = nameless_ > 0 ? "not all of it could be read" : "";
    } catch (const std::bad_alloc&) {
      reason = "it takes more memory than is allowed";
    } catch (const std::exception& failure) {
      reason = failure.what();
    }
    if (!reason.empty()) {
      tell(reason + (count_ > 0 ? "; the listing is incomplete" : ""));
    }
    return writer_.flush() && reason.empty();
  }

 private:
  void sendAll() {
    const VolumeSet volumes = findVolumesCaged(archive_, limits_);
    demandHeadway(limits_.patience, [this] { writer_.flush(); });
    enterCage({.readableFiles = volumes.paths, .memory = limits_.memory});
    ArchiveReader reader(volumes.paths);
    std::uint64_t number = 0;
    while (const Entry* const entry = reader.next()) {
      noteHeadway();
      checkLimit(++number, limits_.entries, "entries");
      if (entry->path.empty()) {
        ++nameless_;
        tell("entry " + std::to_string(number) + ": it has no name" +
             (entry->warning.empty() ? "" : " (" + entry->warning + ")"));
      } else if (entry->path.find_first_not_of('/') != std::string::npos && !send(*entry)) {
        // The root folder has no name of its own and is not listed.
        return;
      }
    }
  }

  void tell(const std::string& what) { console_.message(printable(archive_) + ": " + what); }

  // Returns whether more can be written.
  bool send(const Entry& entry) {
    ListedFile file;
    file.setPath(entry.path);
    file.setFileId(++count_);
    file.setActualSize(entry.size.value_or(0));
    file.setModificationTime(toDate(entry.times.modified));
    file.setIsFolder(entry.kind == EntryKind::folder);
    file.setIsEncrypted(entry.isEncrypted);
    file.mode = entry.mode;
    file.linkTarget = entry.linkTarget;
    encoder_.reset();
    file.encodeWithCoder(encoder_);
    return writer_.write(encoder_.item());
  }

  const std::string& archive_;
  const Limits& limits_;
  Console& console_;
  OXCBOREncoder encoder_{OXCBORMode::keyed};
  OXCBORSequenceWriter writer_{STDOUT_FILENO};
  OXUnsignedWord count_ = 0;
  std::uint64_t nameless_ = 0;
};

}  // namespace

bool sendListing(const std::string& archive, const Limits& limits, Console& console) {
  return Listing(archive, limits, console).run();
}

}  // namespace oxarchive
