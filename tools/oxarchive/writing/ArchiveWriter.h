// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/OXArchiveSettings.h>
#include <archive.h>
#include <archive_entry.h>
#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "system/Files.h"
#include "system/Uncopied.h"
#include "volumes/ByteSource.h"
#include "writing/Formats.h"

namespace oxarchive {

// Writes one archive to an open file. Every error throws ArchiveFailure; the archive is then
// unusable.
class ArchiveWriter : Uncopied {
 public:
  // Called with the number of bytes just read from the items. May throw to stop.
  using Progress = std::function<void(std::uint64_t)>;

  ArchiveWriter(const Format& format, const OXArchiveSettings& settings, int file,
                Progress progress);
  ~ArchiveWriter();

  // Adds the file, folder or link at `disk` as `path`, without a folder's contents. Hard links are
  // stored as such if the format has them.
  void add(const std::string& path, const std::string& disk, bool isFolder);

  // The result of writing an archive.
  struct Result {
    std::vector<std::string> warnings;  // whole messages: what was packed with changes
    std::uint64_t size;
    std::string digest;  // MD5, in hexadecimal digits
  };

  // Call once, at the end.
  Result finish();

 private:
  struct Closer {
    void operator()(GChecksum* checksum) const { ::g_checksum_free(checksum); }
    void operator()(struct ::archive* archive) const { ::archive_free(archive); }
    void operator()(struct ::archive_entry* entry) const { ::archive_entry_free(entry); }
    void operator()(struct ::archive_entry_linkresolver* links) const {
      ::archive_entry_linkresolver_free(links);
    }
  };
  using EntryPointer = std::unique_ptr<struct ::archive_entry, Closer>;

  static la_ssize_t write(struct ::archive* archive, void* self, const void* bytes,
                          std::size_t size);

  void configure(const Format& format, const OXArchiveSettings& settings);
  void setOption(const std::string& option);
  EntryPointer readEntry(const std::string& path, const std::string& disk, int file,
                         const struct ::stat& status);
  Bytes readBlock(int file, const std::string& disk, std::uint64_t position, std::uint64_t size);
  void writeContents(int file, const std::string& disk, const struct ::stat& status);
  void check(int result);
  [[noreturn]] void fail();

  bool isUnicode_;
  std::int64_t firstTime_;  // that the format can hold
  std::int64_t lastTime_;
  Result result_{};
  bool isFinished_ = false;
  int file_;
  Progress progress_;
  int writeError_ = 0;
  std::unique_ptr<GChecksum, Closer> digest_;
  std::unique_ptr<struct ::archive_entry_linkresolver, Closer> links_;
  std::unique_ptr<struct ::archive, Closer> disk_;
  std::vector<std::byte> buffer_;
  std::unique_ptr<struct ::archive, Closer> archive_;
};

}  // namespace oxarchive
