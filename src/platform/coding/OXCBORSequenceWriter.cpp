#include "OrvexKit/platform/OXCBORSequence.h"

#include <cstring>

#include "platform/files/FileDescriptor.h"

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::size_t capacity = std::size_t{1} << 16;

}  // namespace

OXCBORSequenceWriter::OXCBORSequenceWriter(int fd) : fd_(fd), buffer_(capacity) {}

OXCBORSequenceWriter::~OXCBORSequenceWriter() {
  flush();
}

bool OXCBORSequenceWriter::write(Bytes item) {
  const bool isRoom = item.size() <= capacity - collected_;
  if (error_ != 0 || (!isRoom && !flush())) {
    return false;
  }
  if (item.size() > capacity) {
    error_ = ox::writeAll(fd_, item);
  } else if (!item.empty()) {
    std::memcpy(buffer_.data() + collected_, item.data(), item.size());
    collected_ += item.size();
  }
  return error_ == 0;
}

bool OXCBORSequenceWriter::flush() {
  if (error_ == 0) {
    error_ = ox::writeAll(fd_, Bytes(buffer_.data(), collected_));
  }
  collected_ = 0;
  return error_ == 0;
}
