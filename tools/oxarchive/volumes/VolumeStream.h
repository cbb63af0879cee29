// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "system/Files.h"
#include "volumes/ByteSource.h"

namespace oxarchive {

// The volumes of an archive as one seekable stream. Only one volume is open at a time.
class VolumeStream final : public ByteSource {
 public:
  // `paths` are the volumes in order, at least one.
  explicit VolumeStream(const std::vector<std::string>& paths);

  std::size_t volumeCount() const { return volumes_.size(); }
  std::uint64_t startOf(std::size_t volume) const { return volumes_[volume].start; }
  std::uint64_t size() const { return size_; }

  // Where the next block starts.
  std::uint64_t position() const { return position_ - peekedSize(); }

  // `position` is at most the end of the stream.
  void seek(std::uint64_t position);

  // At most `count` bytes from `position` on; fewer at the end. Does not move to there.
  std::string read(std::uint64_t position, std::size_t count);

 private:
  struct Volume {
    std::string path;
    std::uint64_t start;
    std::uint64_t size;
    dev_t device;
    ino_t inode;
  };

  static constexpr std::size_t blockSize = std::size_t{256} * 1024;

  Bytes produce() override;
  std::size_t fill(std::span<std::byte> buffer, std::uint64_t position);
  std::size_t volumeAt(std::uint64_t position) const;
  void open(std::size_t volume);

  std::vector<Volume> volumes_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  std::size_t openVolume_;
  RegularFile file_;
  std::vector<std::byte> buffer_;
};

}  // namespace oxarchive
