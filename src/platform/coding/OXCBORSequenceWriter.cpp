// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXCBORSequence.h"

#include <cstring>

#include "platform/files/FileDescriptor.h"

OXCBORSequenceWriter::OXCBORSequenceWriter(int fd) : fd_(fd), buffer_(std::size_t{1} << 16) {}

OXCBORSequenceWriter::~OXCBORSequenceWriter() {
  flush();
}

bool OXCBORSequenceWriter::write(std::span<const std::byte> item) {
  const bool isRoom = item.size() <= buffer_.size() - collected_;
  if (error_ != 0 || (!isRoom && !flush())) {
    return false;
  }
  if (item.size() > buffer_.size()) {
    error_ = ox::writeAll(fd_, item);
  } else if (!item.empty()) {
    std::memcpy(buffer_.data() + collected_, item.data(), item.size());
    collected_ += item.size();
  }
  return error_ == 0;
}

bool OXCBORSequenceWriter::flush() {
  if (error_ == 0) {
    error_ = ox::writeAll(fd_, std::span(buffer_).first(collected_));
  }
  collected_ = 0;
  return error_ == 0;
}
