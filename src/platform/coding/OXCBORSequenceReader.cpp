// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXCBORSequence.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

#include "platform/coding/CBORItem.h"
#include "platform/files/FileDescriptor.h"

using State = OXCBORSequenceReader::State;

// The input that was read. The bytes from `start_` to `end_` are not returned yet.
class OXCBORSequenceReader::Buffer {
 public:
  Buffer(int fd, std::size_t maximumItemSize)
      : fd_(fd),
        bytes_(std::size_t{1} << 16),
        maximumItemSize_(std::clamp(maximumItemSize, std::size_t{1}, bytes_.max_size())) {}

  std::optional<OXCBORItem> next();

  State state = State::reading;
  int error = 0;

 private:
  void readMore();
  void makeRoom();

  int fd_;
  std::vector<std::byte> bytes_;
  std::size_t maximumItemSize_;
  std::size_t start_ = 0;
  std::size_t end_ = 0;
  ox::cbor::Scanner scanner_;
};

std::optional<OXCBORItem> OXCBORSequenceReader::Buffer::next() {
  using Progress = ox::cbor::Scanner::Progress;
  if (state == State::wouldBlock) {
    state = State::reading;
  }
  while (state == State::reading) {
    const std::span<const std::byte> rest(bytes_.data() + start_, end_ - start_);
    const Progress progress = scanner_.scan(rest, maximumItemSize_);
    if (progress == Progress::complete) {
      const OXCBORItem item(rest.first(scanner_.scanned()));
      start_ += item.size();
      scanner_.reset();
      return item;
    }
    if (progress == Progress::within) {
      readMore();
    } else {
      state = progress == Progress::malformed ? State::malformed : State::tooLarge;
    }
  }
  return std::nullopt;
}

void OXCBORSequenceReader::Buffer::readMore() {
  makeRoom();
  std::size_t count = 0;
  const int failure = ox::readSome(fd_, std::span(bytes_).subspan(end_), count);
  end_ += count;
  if (failure == EAGAIN) {
    state = State::wouldBlock;
  } else if (failure != 0) {
    error = failure;
    state = State::unreadable;
  } else if (count == 0) {
    state = start_ == end_ ? State::ended : State::truncated;
  }
}

// An item is moved to the front at most once, before the buffer grows for it: the work stays in
// proportion to the bytes, in however small pieces they arrive. A full buffer is smaller than the
// greatest item, because the item in it can still be complete within that size.
void OXCBORSequenceReader::Buffer::makeRoom() {
  const std::size_t size = end_ - start_;
  if (size != 0 && end_ < bytes_.size()) {
    return;
  }
  if (size == bytes_.size()) {
    bytes_.resize(std::min(size * 2, maximumItemSize_));
  } else {
    std::memmove(bytes_.data(), bytes_.data() + start_, size);
  }
  start_ = 0;
  end_ = size;
}

OXCBORSequenceReader::OXCBORSequenceReader(int fd, std::size_t maximumItemSize)
    : buffer_(std::make_unique<Buffer>(fd, maximumItemSize)) {}

OXCBORSequenceReader::~OXCBORSequenceReader() = default;

std::optional<OXCBORItem> OXCBORSequenceReader::next() {
  return buffer_->next();
}

State OXCBORSequenceReader::state() const noexcept {
  return buffer_->state;
}

int OXCBORSequenceReader::error() const noexcept {
  return buffer_->error;
}
