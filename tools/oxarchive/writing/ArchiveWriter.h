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

#include "system/Descriptor.h"
#include "system/Uncopied.h"
#include "volumes/ByteSource.h"
#include "writing/Formats.h"

namespace oxarchive {

// Writes one archive to an open file. Whatever goes wrong throws ArchiveFailure, and the archive is
// then of no use.
class ArchiveWriter : Uncopied {
 public:
  // Told of bytes that were read from the items; may throw to end the work.
  using Progress = std::function<void(std::uint64_t)>;

  ArchiveWriter(const Format& format, const OXArchiveSettings& settings, int file,
                Progress progress);
  ~ArchiveWriter();

  // Adds the file, folder or link at `disk`, without what is in it, as `path`. A file with several
  // names is one file in the formats that know such.
  void add(const std::string& path, const std::string& disk, bool isFolder);

  // What becomes of an archive.
  struct Result {
    std::vector<std::string> warnings;  // whole messages: what could not be packed as it is
    std::uint64_t size;
    std::string digest;  // MD5, in hexadecimal digits
  };

  // To be called once, last of all.
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
  static std::uint64_t sizeOfHole(int file, const std::string& disk, std::uint64_t position,
                                  std::uint64_t size);
  Bytes readBlock(int file, const std::string& disk, std::uint64_t position, std::uint64_t size);
  void writeContents(int file, const std::string& disk, const struct ::stat& status);
  void check(int result);
  [[noreturn]] void fail();

  bool isUnicode_;
  std::int64_t firstTime_;  // that the format holds
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
