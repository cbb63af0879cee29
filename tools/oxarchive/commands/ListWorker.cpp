#include <OrvexKit/OrvexKit.h>
#include <unistd.h>

#include <cstdint>
#include <new>
#include <string>

#include "commands/Commands.h"
#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/ArchiveFiles.h"
#include "reading/ArchiveReader.h"
#include "system/Cage.h"
#include "system/Headway.h"

namespace oxarchive {
namespace {

std::optional<OXDate> toDate(const std::optional<timespec>& time) {
  if (!time) {
    return std::nullopt;
  }
  return OXDate(OXDate::duration(static_cast<double>(time->tv_sec) +
                                 static_cast<double>(time->tv_nsec) * 1e-9));
}

class Listing {
 public:
  bool send(const Entry& entry) {
    OXArchivedFile file;
    file.setPath(entry.path);
    file.setFileId(++count_);
    file.setActualSize(entry.size.value_or(0));
    file.setModificationTime(toDate(entry.modified));
    file.setIsFolder(entry.kind == EntryKind::folder);
    file.setIsEncrypted(entry.isEncrypted);
    encoder_.reset();
    file.encodeWithCoder(encoder_);
    return writer_.write(encoder_.item());
  }

  bool finish() { return writer_.flush(); }

 private:
  OXCBOREncoder encoder_{OXCBORMode::keyed};
  OXCBORSequenceWriter writer_{STDOUT_FILENO};
  OXUnsignedWord count_ = 0;
};

// What has been listed when this process is given up.
Listing* current = nullptr;

}  // namespace

bool sendListing(const std::string& archive, const Limits& limits, Console& console) {
  Listing listing;
  current = &listing;
  bool isComplete = true;
  const auto fail = [&](const std::string& what) {
    console.message(printable(archive) + ": " + what);
    isComplete = false;
  };
  try {
    const VolumeSet volumes = findArchiveFiles(archive, limits);
    demandHeadway(static_cast<unsigned>(limits.patience), [] { current->finish(); });
    enterCage({.readableFiles = volumes.paths, .memory = limits.memory});
    ArchiveReader reader(volumes.paths);
    bool isTaken = true;
    std::uint64_t number = 0;
    while (const Entry* entry = isTaken ? reader.next() : nullptr) {
      ++number;
      noteHeadway();
      if (number > limits.entries) {
        throw ArchiveFailure("it has more than " + std::to_string(limits.entries) +
                             " entries, which is the limit");
      }
      if (entry->path.empty()) {
        fail("entry " + std::to_string(number) + ": it has no name" +
             (entry->warning.empty() ? "" : " (" + entry->warning + ")"));
      } else if (entry->path.find_first_not_of('/') != std::string::npos) {
        // The root of the archive has no name of its own, and is not listed.
        isTaken = listing.send(*entry);
      }
    }
  } catch (const ArchiveFailure& failure) {
    fail(failure.what());
  } catch (const std::bad_alloc&) {
    fail("it takes more memory than is allowed");
  }
  return listing.finish() && isComplete;
}

}  // namespace oxarchive
