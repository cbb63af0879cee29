#pragma once

#include <OrvexKit/platform/OXString.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "reading/Entry.h"
#include "reading/LibarchiveFeed.h"
#include "system/Uncopied.h"
#include "volumes/ByteSource.h"
#include "volumes/RarVolume.h"
#include "volumes/VolumeStream.h"

namespace oxarchive {

// Reads an archive from its first entry to its last one, and then makes sure that it was whole.
//
// Formats that read other files of this machine, and compressions that need another program, are
// left out; so is taking a file that is no archive for one with a single entry.
class ArchiveReader : Uncopied {  // libarchive knows where it is
 public:
  // Reads the volumes at `paths`, in order. A `password` is for ZIP archives. Throws
  // ArchiveFailure.
  explicit ArchiveReader(const std::vector<std::string>& paths, OXString password = std::nullopt);

  // The next entry, valid until the next call; null after the last one of a whole archive. Throws
  // ArchiveFailure when the archive is damaged, cut short, or none that is known.
  const Entry* next();

  // The next block of the entry's data; none at its end. Throws EntryFailure when this data is
  // damaged, encrypted or packed in an unknown way, and ArchiveFailure when nothing more can be
  // read.
  std::optional<DataBlock> readData();

  // How far the volumes have been read, of how much, in bytes.
  std::uint64_t position() const { return stream_.position(); }
  std::uint64_t size() const { return stream_.size(); }

 private:
  static const char* givePassword(struct ::archive* archive, void* self);

  void open(std::size_t firstVolume);
  bool openFollowingVolume();
  void describe(struct ::archive_entry* entry);
  void checkEncryption() const;
  void skipData();
  void checkData();
  void checkEnd(std::uint64_t lastEntryEnd);
  [[noreturn]] void fail();
  std::uint64_t consumed() const;
  int baseFormat() const;

  std::vector<std::string> paths_;
  VolumeStream stream_;
  std::vector<RarVolume> rarVolumes_;  // none when it is another archive
  std::unique_ptr<ByteSource> decompressed_;
  std::size_t firstVolume_ = 0;
  std::optional<LibarchiveFeed> feed_;
  ReadArchive archive_;
  OXString password_;
  bool isPasswordGiven_ = false;  // to libarchive, for the data of this entry
  bool isPasswordWrong_ = false;
  Entry entry_;
  bool isInEntry_ = false;
  std::vector<RarEntry> rarEntries_;  // all in their order
  std::size_t entryCount_ = 0;
  std::uint32_t checkSum_ = 0;  // of the entry's data so far
};

}  // namespace oxarchive
