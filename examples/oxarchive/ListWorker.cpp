#include "ListWorker.h"

#include <OrvexKit/OrvexKit.h>
#include <unistd.h>

#include <chrono>

#include "ArchiveReader.h"
#include "Failure.h"
#include "Printable.h"
#include "VolumeSet.h"

namespace oxarchive {
namespace {

std::optional<OXDate> toDate(const std::optional<timespec>& time) {
  if (!time) {
    return std::nullopt;
  }
  return OXDate(OXDate::duration(static_cast<double>(time->tv_sec) +
                                 static_cast<double>(time->tv_nsec) * 1e-9));
}

// An entry without a name of its own is the archive's root, or damage: neither can be listed.
bool hasName(const Entry& entry) {
  return entry.path.find_first_not_of('/') != std::string::npos;
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

}  // namespace

bool sendListing(const std::string& archive, Console& console) {
  Listing listing;
  bool isComplete = true;
  try {
    const VolumeSet volumes = findVolumes(archive);
    ArchiveReader reader(volumes);
    bool isTaken = true;
    while (const Entry* entry = isTaken ? reader.next() : nullptr) {
      isTaken = !hasName(*entry) || listing.send(*entry);
    }
  } catch (const ArchiveFailure& failure) {
    console.message(printable(archive) + ": " + failure.what());
    isComplete = false;
  }
  return listing.finish() && isComplete;
}

}  // namespace oxarchive
