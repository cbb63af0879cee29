// SPDX-License-Identifier: MIT

#include "reading/LibarchiveFeed.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>

#include "console/Failure.h"
#include "console/Printable.h"

namespace oxarchive {

ReadArchive newReadArchive() {
  return {orThrow(::archive_read_new()), ::archive_read_free};
}

std::string failureReason(struct ::archive* archive) {
  const char* const reason = ::archive_error_string(archive);
  return reason != nullptr ? printable(reason) : "it is damaged or cut short";
}

bool LibarchiveFeed::open(struct ::archive* archive) {
  ::archive_read_set_callback_data(archive, this);
  ::archive_read_set_read_callback(archive, read);
  if (seekable_ != nullptr) {
    ::archive_read_set_skip_callback(archive, skip);
    ::archive_read_set_seek_callback(archive, seek);
  }
  const bool isOpen = ::archive_read_open1(archive) == ARCHIVE_OK;
  rethrow();
  return isOpen;
}

void LibarchiveFeed::rethrow() {
  if (failure_) {
    std::rethrow_exception(std::exchange(failure_, nullptr));
  }
}

void LibarchiveFeed::rethrowDamage() const {
  if (damage_) {
    std::rethrow_exception(damage_);
  }
}

void LibarchiveFeed::drain() {
  rethrowDamage();
  while (!next().empty()) {
  }
}

Bytes LibarchiveFeed::next() {
  Bytes block = source_.take();
  if (block.empty() && !isPaddingGiven_) {
    isPaddingGiven_ = true;
    block = padding_;
  }
  const auto lastOther = std::find_if(block.rbegin(), block.rend(), [](std::byte b) {
    return b != std::byte{0} && b != std::byte{'\n'};
  });
  if (lastOther != block.rend()) {
    const auto length = static_cast<std::uint64_t>(std::distance(lastOther, block.rend()));
    blankEndStart_ = std::max(blankEndStart_, offset_ + length);
  }
  if (!block.empty()) {
    lastByte_ = block.back();
  }
  offset_ += block.size();
  return block;
}

la_ssize_t LibarchiveFeed::read(struct ::archive* archive, void* self, const void** block) {
  auto& feed = *static_cast<LibarchiveFeed*>(self);
  try {
    const Bytes next = feed.next();
    *block = next.data();
    return static_cast<la_ssize_t>(next.size());
  } catch (const ArchiveFailure&) {
    feed.damage_ = std::current_exception();
    return 0;
  } catch (...) {
    feed.failure_ = std::current_exception();
    ::archive_set_error(archive, EIO, "the archive cannot be read");
    return ARCHIVE_FATAL;
  }
}

la_int64_t LibarchiveFeed::skip(struct ::archive* /*archive*/, void* self, la_int64_t count) {
  auto& feed = *static_cast<LibarchiveFeed*>(self);
  const std::uint64_t before = feed.seekable_->position();
  feed.seekable_->seek(before + static_cast<std::uint64_t>(count));
  const std::uint64_t skipped = feed.seekable_->position() - before;
  feed.offset_ += skipped;
  return static_cast<la_int64_t>(skipped);
}

la_int64_t LibarchiveFeed::seek(struct ::archive* /*archive*/, void* self, la_int64_t offset,
                                int whence) {
  auto& feed = *static_cast<LibarchiveFeed*>(self);
  VolumeStream& stream = *feed.seekable_;
  const auto size = static_cast<la_int64_t>(stream.size() - feed.start_);
  const auto position = static_cast<la_int64_t>(stream.position() - feed.start_);
  const la_int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position : size;
  la_int64_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) {
    return ARCHIVE_FATAL;
  }
  // Seeking past the end is seeking to the end.
  target = std::min(target, size);
  stream.seek(feed.start_ + static_cast<std::uint64_t>(target));
  feed.offset_ = static_cast<std::uint64_t>(target);
  feed.isPaddingGiven_ = false;
  return target;
}

}  // namespace oxarchive
