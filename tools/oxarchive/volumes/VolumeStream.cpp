// SPDX-License-Identifier: MIT

#include "volumes/VolumeStream.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Files.h"
#include "system/Interruption.h"

namespace oxarchive {

VolumeStream::VolumeStream(const std::vector<std::string>& paths) : openVolume_(paths.size()) {
  volumes_.reserve(paths.size());
  for (const std::string& path : paths) {
    const RegularFile file = openRegularFile(path, printable(path));
    volumes_.push_back({path, size_, file.size(), file.status.st_dev, file.status.st_ino});
    size_ += file.size();
  }
}

void VolumeStream::seek(std::uint64_t position) {
  dropPeeked();
  position_ = std::min(position, size_);
}

Bytes VolumeStream::produce() {
  throwIfInterrupted();
  buffer_.resize(blockSize);
  const std::size_t filled = fill(buffer_, position_);
  position_ += filled;
  return {buffer_.data(), filled};
}

std::string VolumeStream::read(std::uint64_t position, std::size_t count) {
  std::string bytes(count, '\0');
  bytes.resize(fill(std::as_writable_bytes(std::span(bytes)), position));
  return bytes;
}

// Reads from `position` on, and returns the number of bytes. They may span volumes, so that very
// small volumes are not slower to read and the archive's signature is always in the first block.
std::size_t VolumeStream::fill(std::span<std::byte> buffer, std::uint64_t position) {
  std::size_t filled = 0;
  while (filled < buffer.size() && position + filled < size_) {
    const std::size_t index = volumeAt(position + filled);
    open(index);
    const Volume& volume = volumes_[index];
    const std::uint64_t offset = position + filled - volume.start;
    const auto wanted = static_cast<std::size_t>(
        std::min<std::uint64_t>(buffer.size() - filled, volume.size - offset));
    const ssize_t count = retried([&] {
      return ::pread(file_.descriptor.get(), buffer.data() + filled, wanted,
                     static_cast<off_t>(offset));
    });
    if (count < 0) {
      throw ArchiveFailure(withSystemReason("cannot read " + printable(volume.path), errno));
    }
    if (count == 0) {
      throw ArchiveFailure(printable(volume.path) + " was changed while it was read");
    }
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

// The volume with the byte at `position`, which is before the end.
std::size_t VolumeStream::volumeAt(std::uint64_t position) const {
  const auto after = std::ranges::upper_bound(volumes_, position, {}, &Volume::start);
  return static_cast<std::size_t>(std::distance(volumes_.begin(), after)) - 1;
}

void VolumeStream::open(std::size_t volume) {
  if (openVolume_ == volume) {
    return;
  }
  const Volume& wanted = volumes_[volume];
  file_ = openRegularFile(wanted.path, printable(wanted.path));
  openVolume_ = volume;
  if (file_.status.st_dev != wanted.device || file_.status.st_ino != wanted.inode ||
      file_.size() != wanted.size) {
    throw ArchiveFailure(printable(wanted.path) + " was changed while it was read");
  }
}

}  // namespace oxarchive
