// SPDX-License-Identifier: MIT

#include "volumes/RarVolume.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "console/Failure.h"
#include "system/Interruption.h"
#include "volumes/VolumeStream.h"

namespace oxarchive {
namespace {

// Reads the little-endian numbers of the header at `position` of a file. Past the end of the file
// or of the header's first 64 bytes they read as 0, and `isWhole` is false.
class HeaderReader {
 public:
  HeaderReader(VolumeStream& file, std::uint64_t position) : bytes_(file.read(position, 64)) {}

  std::uint64_t number(std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      value |= std::uint64_t{byte()} << (8 * i);
    }
    return value;
  }

  void skip(std::size_t size) { used_ += size; }

  // A variable-length integer: 7 bits per byte, lowest first; the high bit means that more follow.
  std::uint64_t packedNumber() {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
      const unsigned next = byte();
      value |= std::uint64_t{next & 0x7FU} << shift;
      if ((next & 0x80U) == 0) {
        return value;
      }
    }
    used_ = bytes_.size() + 1;  // too long for a number
    return 0;
  }

  std::size_t used() const { return used_; }

  // Whether everything that was read is in the file.
  bool isWhole() const { return used_ <= bytes_.size(); }

 private:
  unsigned byte() {
    const std::size_t i = used_++;
    return i < bytes_.size() ? static_cast<unsigned char>(bytes_[i]) : 0;
  }

  std::string bytes_;
  std::size_t used_ = 0;
};

// The fields of a block, in either format.
struct Block {
  enum class Kind { other, file, end };

  Kind kind = Kind::other;
  std::uint64_t size = 0;  // with the data that follows
  bool isOfVolume = false;
  bool hasEncryptedNames = false;
  bool isContinuation = false;  // of the volume before, or of a file's data in it
  bool isContinued = false;     // the file, or the archive, goes on in the next volume
  RarEntry entry{};             // of a file
};

// A block of RAR 1.5 to 4.
std::optional<Block> readOldBlock(VolumeStream& volume, std::uint64_t position) {
  enum : unsigned { main = 0x73, file = 0x74, service = 0x7A, end = 0x7B };
  constexpr std::size_t fixedSize = 7;
  Block block;
  HeaderReader reader(volume, position);
  reader.skip(2);  // the block's own check sum
  const std::uint64_t type = reader.number(1);
  const std::uint64_t flags = reader.number(2);
  const std::uint64_t headerSize = reader.number(2);
  std::uint64_t dataSize = 0;
  if (type == file || type == service) {
    dataSize = reader.number(4);
    reader.skip(5);
    block.entry = {static_cast<std::uint32_t>(reader.number(4)), (flags & 0x0004U) != 0};
    reader.skip(12);
    dataSize |= (flags & 0x0100U) != 0 ? reader.number(4) << 32U : 0;
  } else if ((flags & 0x8000U) != 0) {
    dataSize = reader.number(4);
  }
  block.size = headerSize + dataSize;
  if (type == main) {
    block.isOfVolume = (flags & 0x0001U) != 0;
    block.hasEncryptedNames = (flags & 0x0080U) != 0;
    // Programs that use the newer volume names (0x10) mark the first volume (0x100); with older
    // names, the end mark may have the volume's number.
    block.isContinuation = (flags & 0x0111U) == 0x0011U;
  } else if (type == file) {
    block.kind = Block::Kind::file;
    block.isContinuation = (flags & 0x0001U) != 0;
    block.isContinued = (flags & 0x0002U) != 0;
  } else if (type == end) {
    block.kind = Block::Kind::end;
    block.isContinued = (flags & 0x0001U) != 0;
    reader.skip((flags & 0x0002U) != 0 ? 4 : 0);  // a check sum of the archive
    block.isContinuation = (flags & 0x0008U) != 0 && reader.number(2) > 0;  // the volume's number
  }
  const bool isUsable = reader.isWhole() && headerSize >= fixedSize && block.size >= dataSize;
  return isUsable ? std::optional(block) : std::nullopt;
}

// Whether the extra records of a block, from `start` to `end`, include an encryption record.
bool hasEncryptionRecord(VolumeStream& volume, std::uint64_t start, std::uint64_t end) {
  constexpr std::uint64_t encryptionRecord = 1;
  for (std::uint64_t position = start; position < end;) {
    HeaderReader reader(volume, position);
    const std::uint64_t size = reader.packedNumber();
    position += reader.used();
    const std::uint64_t type = reader.packedNumber();
    if (!reader.isWhole() || size == 0 || position > end || size > end - position) {
      return false;
    }
    if (type == encryptionRecord) {
      return true;
    }
    position += size;
  }
  return false;
}

// A block of RAR 5.
std::optional<Block> readNewBlock(VolumeStream& volume, std::uint64_t position) {
  enum : unsigned { main = 1, file = 2, encryption = 4, end = 5 };
  constexpr std::uint64_t largestHeader = std::uint64_t{1} << 21U;
  Block block;
  HeaderReader reader(volume, position);
  reader.skip(4);  // the block's own check sum
  const std::uint64_t headerSize = reader.packedNumber();
  const std::uint64_t headerEnd = reader.used() + headerSize;
  const std::uint64_t type = reader.packedNumber();
  const std::uint64_t flags = reader.packedNumber();
  const std::uint64_t extraSize = (flags & 0x01U) != 0 ? reader.packedNumber() : 0;
  const std::uint64_t dataSize = (flags & 0x02U) != 0 ? reader.packedNumber() : 0;
  const std::uint64_t ownFlags = reader.packedNumber();
  if (type == file && (ownFlags & 0x04U) != 0) {
    reader.packedNumber();                         // size
    reader.packedNumber();                         // attributes
    reader.skip((ownFlags & 0x02U) != 0 ? 4 : 0);  // time
    block.entry.checkSum = static_cast<std::uint32_t>(reader.number(4));
  }
  block.size = headerEnd + dataSize;
  if (!reader.isWhole() || headerSize > largestHeader || extraSize > headerSize ||
      block.size < dataSize) {
    return std::nullopt;
  }
  block.hasEncryptedNames = type == encryption;
  if (type == main) {
    block.isOfVolume = (ownFlags & 0x01U) != 0;
    block.isContinuation = (ownFlags & 0x02U) != 0;  // only the first volume has no number
  } else if (type == file) {
    const std::uint64_t extraEnd = position + headerEnd;
    block.kind = Block::Kind::file;
    block.isContinuation = (flags & 0x08U) != 0;
    block.isContinued = (flags & 0x10U) != 0;
    block.entry.isEncrypted = hasEncryptionRecord(volume, extraEnd - extraSize, extraEnd);
  } else if (type == end) {
    block.kind = Block::Kind::end;
    block.isContinued = (ownFlags & 0x01U) != 0;
  }
  return block;
}

// Adds the block to what is known of the volume. Returns whether another block follows.
bool takeBlock(const Block& block, RarVolume& volume) {
  using Ending = RarVolume::Ending;
  volume.hasEncryptedNames = block.hasEncryptedNames;
  // A second main block, which only a damaged or forged file has, takes nothing back.
  volume.isVolume = volume.isVolume || block.isOfVolume;
  volume.isContinuation = volume.isContinuation || block.isContinuation;
  if (block.kind == Block::Kind::file) {
    volume.ending = block.isContinued ? Ending::continued : Ending::unknown;
    if (!block.isContinued) {
      volume.entries.push_back(block.entry);
    }
  } else if (block.kind == Block::Kind::end) {
    const bool isContinued = block.isContinued || volume.ending == Ending::continued;
    volume.ending = isContinued ? Ending::continued : Ending::last;
  }
  return block.kind != Block::Kind::end && !block.hasEncryptedNames;
}

struct RarFormat {
  std::string_view signature;
  std::optional<Block> (*readBlock)(VolumeStream& volume, std::uint64_t position);
  bool isNew;
};

constexpr auto rarFormats =
    std::to_array<RarFormat>({{std::string_view("Rar!\x1A\x07\x00", 7), readOldBlock, false},
                              {std::string_view("Rar!\x1A\x07\x01\x00", 8), readNewBlock, true}});

// Reads the blocks to the end marker, which old programs did not write, or to where the rest is
// encrypted.
RarVolume readBlocks(VolumeStream& file, const RarFormat& format) {
  RarVolume volume{.isNewFormat = format.isNew};
  std::uint64_t position = format.signature.size();
  while (position < file.size()) {
    throwIfInterrupted();
    const std::optional<Block> block = format.readBlock(file, position);
    if (!block || block->size > file.size() - position) {
      volume.ending = RarVolume::Ending::cutShort;
      return volume;
    }
    if (!takeBlock(*block, volume)) {
      return volume;
    }
    position += block->size;
  }
  volume.ending = format.isNew ? RarVolume::Ending::cutShort : volume.ending;
  return volume;
}

}  // namespace

std::optional<RarVolume> inspectRarVolume(const std::vector<std::string>& paths) {
  try {
    VolumeStream file(paths);
    const std::string start = file.read(0, 8);
    const auto* const format = std::ranges::find_if(
        rarFormats, [&](const RarFormat& each) { return start.starts_with(each.signature); });
    return format != rarFormats.end() ? std::optional(readBlocks(file, *format)) : std::nullopt;
  } catch (const ArchiveFailure&) {
    throwIfInterrupted();
    return std::nullopt;
  }
}

}  // namespace oxarchive
