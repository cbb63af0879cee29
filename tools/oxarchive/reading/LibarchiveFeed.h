#pragma once

#include <archive.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "volumes/ByteSource.h"
#include "volumes/VolumeStream.h"

namespace oxarchive {

struct ReadArchiveCloser {
  void operator()(struct ::archive* archive) const { ::archive_read_free(archive); }
};
using ReadArchive = std::unique_ptr<struct ::archive, ReadArchiveCloser>;

// A new reader without any format or filter.
ReadArchive newReadArchive();

// What libarchive has to say about its last failure.
std::string failureReason(struct ::archive* archive);

// Gives a stream to libarchive, and keeps the exceptions of the stream out of its C code. Where the
// stream is damaged it ends for libarchive, which uses what came before; the damage is told last.
class LibarchiveFeed {
 public:
  // A stream that is read from where it stands to its end.
  explicit LibarchiveFeed(ByteSource& source) : source_(source) {}

  // One that may be sought in, seen from the volume `first` on.
  LibarchiveFeed(VolumeStream& source, std::size_t first)
      : source_(source), seekable_(&source), start_(source.startOf(first)) {
    source.seek(start_);
  }

  // Zeros after the end of the stream, which is not sought in from its end then.
  void setPadding(std::size_t size) { padding_.resize(size); }

  // Opens `archive` on the stream; whether it has found what it can read.
  bool open(struct ::archive* archive);

  // Throws on what the stream has thrown during the last call of libarchive, if anything but an
  // ArchiveFailure.
  void rethrow();

  // Throws the ArchiveFailure that has ended the stream before its time, if any. To be called once
  // libarchive has used all that was good.
  void rethrowDamage() const;

  // Reads on to the end of the stream, beyond what libarchive needed, so that every check within it
  // is made.
  void drain();

  // Where the zeros and line feeds begin that run to the end of what was read, counted from the
  // start of the feed.
  std::uint64_t blankEndStart() const { return blankEndStart_; }

  bool endsWithLineFeed() const { return lastByte_ == std::byte{'\n'}; }

 private:
  static la_ssize_t read(struct ::archive* archive, void* self, const void** block);
  static la_int64_t skip(struct ::archive* archive, void* self, la_int64_t count);
  static la_int64_t seek(struct ::archive* archive, void* self, la_int64_t offset, int whence);

  Bytes next();

  ByteSource& source_;
  VolumeStream* seekable_ = nullptr;
  std::uint64_t start_ = 0;
  std::uint64_t offset_ = 0;
  std::uint64_t blankEndStart_ = 0;
  std::byte lastByte_{};
  std::vector<std::byte> padding_;
  bool isPaddingGiven_ = false;
  std::exception_ptr failure_;
  std::exception_ptr damage_;
};

}  // namespace oxarchive
