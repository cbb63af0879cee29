// SPDX-License-Identifier: MIT

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

// Reads an archive from its first to its last entry, and then checks that it was complete.
//
// Left out are formats that read other files of this machine, compressions that need another
// program, and libarchive's "raw" format, in which any file is an archive with one entry.
class ArchiveReader : Uncopied {  // libarchive keeps its address
 public:
  // Reads the volumes at `paths`, in order. A `password` is for ZIP archives. Throws
  // ArchiveFailure.
  explicit ArchiveReader(const std::vector<std::string>& paths, OXString password = std::nullopt);

  // Returns the next entry, valid until the next call, or null after the last one of a complete
  // archive. Throws ArchiveFailure if the archive is damaged, truncated or of an unknown format.
  const Entry* next();

  // Returns the next block of the entry's data, or no value at its end. Throws EntryFailure if this
  // data is damaged, encrypted or compressed by an unknown method, and ArchiveFailure if nothing
  // more can be read.
  std::optional<DataBlock> readData();

  // The position in the volumes and their total size, in bytes.
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
  std::vector<RarVolume> rarVolumes_;  // empty for other formats
  std::unique_ptr<ByteSource> decompressed_;
  std::size_t firstVolume_ = 0;
  std::optional<LibarchiveFeed> feed_;
  ReadArchive archive_{nullptr, ::archive_read_free};
  OXString password_;
  bool isPasswordGiven_ = false;  // to libarchive, for the data of this entry
  bool isPasswordWrong_ = false;
  Entry entry_;
  bool isInEntry_ = false;
  std::vector<RarEntry> rarEntries_;  // of all volumes, in order
  std::size_t entryCount_ = 0;
  std::uint32_t checkSum_ = 0;  // of the entry's data so far
};

}  // namespace oxarchive
