// SPDX-License-Identifier: MIT

#pragma once

#include <archive.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <vector>

#include "volumes/ByteSource.h"
#include "volumes/VolumeStream.h"

namespace oxarchive {

// Throws std::bad_alloc for a null pointer.
template <typename Pointer>
auto orThrow(Pointer* pointer) {
  if (pointer == nullptr) {
    throw std::bad_alloc();
  }
  return pointer;
}

using ReadArchive = std::unique_ptr<struct ::archive, int (*)(struct ::archive*)>;

// A new reader without any format or filter.
ReadArchive newReadArchive();

// libarchive's message about its last error.
std::string failureReason(struct ::archive* archive);

// Feeds a stream to libarchive, and keeps the stream's exceptions out of its C code. Damage ends
// the stream, so that libarchive uses the data before it; `rethrowDamage` then reports it.
class LibarchiveFeed {
 public:
  // A stream that is read from its current position to the end.
  explicit LibarchiveFeed(ByteSource& source) : source_(source) {}

  // A seekable stream, which starts at the volume `first`.
  LibarchiveFeed(VolumeStream& source, std::size_t first)
      : source_(source), seekable_(&source), start_(source.startOf(first)) {
    source.seek(start_);
  }

  // Appends zeros to the stream; libarchive must not seek from its end then.
  void setPadding(std::size_t size) { padding_.resize(size); }

  // Opens `archive` on the stream. Returns whether libarchive knows the format.
  bool open(struct ::archive* archive);

  // Rethrows the stream's exception from the last call of libarchive, unless it was an
  // ArchiveFailure.
  void rethrow();

  // Throws the ArchiveFailure that ended the stream early, if any. Call after libarchive has used
  // the data before it.
  void rethrowDamage() const;

  // Reads the rest of the stream, which libarchive did not need, so that all its checks are made.
  void drain();

  // The offset in the feed from which everything read so far is zeros and line feeds.
  std::uint64_t blankEndStart() const { return blankEndStart_; }

  // Whether bytes follow the offset `end`, and the last of them is a line feed.
  bool endsWithLineFeedAfter(std::uint64_t end) const {
    return offset_ > end && lastByte_ == std::byte{'\n'};
  }

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
