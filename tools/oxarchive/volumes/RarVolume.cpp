#include "volumes/RarVolume.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "console/Failure.h"
#include "system/Descriptor.h"
#include "system/Interruption.h"
#include "system/RegularFile.h"

namespace oxarchive {
namespace {

constexpr std::string_view oldSignature("Rar!\x1A\x07\x00", 7);
constexpr std::string_view newSignature("Rar!\x1A\x07\x01\x00", 8);

// A window on a file: little-endian numbers at its position. What lies beyond the end reads as
// missing, and so does everything after it.
class HeaderReader {
 public:
  explicit HeaderReader(int fd) : fd_(fd) {}

  void moveTo(std::uint64_t position) {
    const bool isReachable = position <= static_cast<std::uint64_t>(INT64_MAX);
    const ssize_t count =
        isReachable ? ::pread(fd_, buffer_.data(), buffer_.size(), static_cast<off_t>(position))
                    : 0;
    bytes_ = std::span(buffer_).first(count > 0 ? static_cast<std::size_t>(count) : 0);
    used_ = 0;
    isWhole_ = true;
  }

  std::uint64_t number(std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      value |= std::uint64_t{byte()} << (8 * i);
    }
    return value;
  }

  void skip(std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      byte();
    }
  }

  // Seven bits to a byte, the lowest first; the eighth says that another byte follows.
  std::uint64_t packedNumber() {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
      const unsigned next = byte();
      value |= std::uint64_t{next & 0x7FU} << shift;
      if ((next & 0x80U) == 0) {
        return value;
      }
    }
    isWhole_ = false;
    return 0;
  }

  bool startsWith(std::string_view text) const {
    return std::string_view(reinterpret_cast<const char*>(bytes_.data()), bytes_.size())
        .starts_with(text);
  }

  std::size_t used() const { return used_; }

  // Whether all that was asked for since the last move was there.
  bool isWhole() const { return isWhole_; }

 private:
  unsigned byte() {
    if (used_ == bytes_.size()) {
      isWhole_ = false;
      return 0;
    }
    return bytes_[used_++];
  }

  int fd_;
  std::array<unsigned char, 64> buffer_{};
  std::span<const unsigned char> bytes_;
  std::size_t used_ = 0;
  bool isWhole_ = true;
};

// RAR 1.5 to 4 -------------------------------------------------------------------------------

struct OldBlock {
  enum : unsigned { main = 0x73, file = 0x74, service = 0x7A, end = 0x7B };
  static constexpr std::size_t fixedSize = 7;

  std::uint64_t type;
  std::uint64_t flags;
  std::uint64_t size;  // with the data after it
  std::uint32_t checkSum;
};

std::optional<OldBlock> readOldBlock(HeaderReader& reader) {
  OldBlock block{};
  reader.skip(2);  // the block's own check sum
  block.type = reader.number(1);
  block.flags = reader.number(2);
  const std::uint64_t headerSize = reader.number(2);
  std::uint64_t dataSize = 0;
  if (block.type == OldBlock::file || block.type == OldBlock::service) {
    dataSize = reader.number(4);
    reader.skip(5);
    block.checkSum = static_cast<std::uint32_t>(reader.number(4));
    reader.skip(12);
    if ((block.flags & 0x0100U) != 0) {
      dataSize |= reader.number(4) << 32U;
    }
  } else if ((block.flags & 0x8000U) != 0) {
    dataSize = reader.number(4);
  }
  block.size = headerSize + dataSize;
  const bool isUsable =
      reader.isWhole() && headerSize >= OldBlock::fixedSize && block.size >= dataSize;
  return isUsable ? std::optional(block) : std::nullopt;
}

// Programs that know the new way of naming volumes mark the first one; older ones do not.
bool isLaterVolume(std::uint64_t mainFlags) {
  constexpr unsigned isVolume = 0x0001;
  constexpr unsigned hasNewNames = 0x0010;
  constexpr unsigned isFirst = 0x0100;
  return (mainFlags & (isVolume | hasNewNames | isFirst)) == (isVolume | hasNewNames);
}

// A file that goes on in the next volume says so in its own block too. Old programs wrote no end
// mark.
void walkOldBlocks(HeaderReader& reader, std::uint64_t fileSize, RarVolume& volume) {
  std::uint64_t position = oldSignature.size();
  while (position < fileSize) {
    throwIfInterrupted();
    reader.moveTo(position);
    const std::optional<OldBlock> block = readOldBlock(reader);
    if (!block || block->size > fileSize - position) {
      volume.ending = RarVolume::Ending::cutShort;
      return;
    }
    position += block->size;
    if (block->type == OldBlock::main) {
      volume.isVolume = (block->flags & 0x0001U) != 0;
      volume.isContinuation = isLaterVolume(block->flags);
      volume.hasEncryptedNames = (block->flags & 0x0080U) != 0;
      if (volume.hasEncryptedNames) {
        return;  // so is the rest
      }
    } else if (block->type == OldBlock::file) {
      const bool isContinued = (block->flags & 0x0002U) != 0;
      volume.isContinuation = volume.isContinuation || (block->flags & 0x0001U) != 0;
      volume.ending = isContinued ? RarVolume::Ending::continued : RarVolume::Ending::unknown;
      if (!isContinued) {
        volume.entries.push_back({block->checkSum, (block->flags & 0x0004U) != 0});
      }
    } else if (block->type == OldBlock::end) {
      const bool isContinued =
          (block->flags & 0x0001U) != 0 || volume.ending == RarVolume::Ending::continued;
      volume.ending = isContinued ? RarVolume::Ending::continued : RarVolume::Ending::last;
      return;
    }
  }
}

// RAR 5 --------------------------------------------------------------------------------------

struct NewBlock {
  enum : unsigned { main = 1, file = 2, encryption = 4, end = 5 };

  std::uint64_t type;
  std::uint64_t size;       // with the data after it
  std::uint64_t extraSize;  // of the records at the end of the block, before the data
  std::uint64_t extraStart;
  std::uint64_t ownFlags;
  bool isContinuation;                    // of a file's data in the volume before
  bool isContinued;                       // a file's data, in the next volume
  std::optional<std::uint32_t> checkSum;  // of a file
};

// The block at `position`.
std::optional<NewBlock> readNewBlock(HeaderReader& reader, std::uint64_t position) {
  NewBlock block{};
  reader.moveTo(position);
  reader.skip(4);  // the block's own check sum
  const std::uint64_t headerSize = reader.packedNumber();
  const std::uint64_t headerEnd = reader.used() + headerSize;
  block.type = reader.packedNumber();
  const std::uint64_t flags = reader.packedNumber();
  block.extraSize = (flags & 1U) != 0 ? reader.packedNumber() : 0;
  const std::uint64_t dataSize = (flags & 2U) != 0 ? reader.packedNumber() : 0;
  block.ownFlags = reader.packedNumber();
  block.size = headerEnd + dataSize;
  block.extraStart = position + headerEnd - block.extraSize;
  constexpr std::uint64_t largestHeader = std::uint64_t{1} << 21U;
  block.isContinuation = (flags & 0x08U) != 0;
  block.isContinued = (flags & 0x10U) != 0;
  if (block.type == NewBlock::file && (block.ownFlags & 4U) != 0) {
    reader.packedNumber();                            // size
    reader.packedNumber();                            // attributes
    reader.skip((block.ownFlags & 2U) != 0 ? 4 : 0);  // time
    block.checkSum = static_cast<std::uint32_t>(reader.number(4));
  }
  const bool isUsable = reader.isWhole() && headerSize <= largestHeader &&
                        block.extraSize <= headerSize && block.size >= dataSize;
  return isUsable ? std::optional(block) : std::nullopt;
}

bool hasEncryptionRecord(HeaderReader& reader, const NewBlock& block) {
  constexpr std::uint64_t encryptionRecord = 1;
  const std::uint64_t end = block.extraStart + block.extraSize;
  for (std::uint64_t position = block.extraStart; position < end;) {
    reader.moveTo(position);
    const std::uint64_t size = reader.packedNumber();
    position += reader.used() + size;
    const std::uint64_t type = reader.packedNumber();
    if (!reader.isWhole() || size == 0 || position > end) {
      return false;
    }
    if (type == encryptionRecord) {
      return true;
    }
  }
  return false;
}

// There is always an end mark.
void walkNewBlocks(HeaderReader& reader, std::uint64_t fileSize, RarVolume& volume) {
  std::uint64_t position = newSignature.size();
  volume.ending = RarVolume::Ending::cutShort;
  while (position < fileSize) {
    throwIfInterrupted();
    const std::optional<NewBlock> block = readNewBlock(reader, position);
    if (!block || block->size > fileSize - position) {
      return;
    }
    position += block->size;
    if (block->type == NewBlock::main) {
      volume.isVolume = (block->ownFlags & 1U) != 0;
      // Only the first one has no number.
      volume.isContinuation = (block->ownFlags & 2U) != 0;
    } else if (block->type == NewBlock::encryption) {
      volume.hasEncryptedNames = true;
      volume.ending = RarVolume::Ending::unknown;
      return;
    } else if (block->type == NewBlock::file) {
      volume.isContinuation = volume.isContinuation || block->isContinuation;
      if (!block->isContinued) {
        volume.entries.push_back({block->checkSum, hasEncryptionRecord(reader, *block)});
      }
    } else if (block->type == NewBlock::end) {
      const bool isContinued = (block->ownFlags & 1U) != 0;
      volume.ending = isContinued ? RarVolume::Ending::continued : RarVolume::Ending::last;
      return;
    }
  }
}

}  // namespace

std::optional<RarVolume> inspectRarVolume(const std::string& path) {
  Descriptor file;
  struct ::stat status {};
  try {
    file = openRegularFile(path, "it", status);
  } catch (const ArchiveFailure&) {
    return std::nullopt;
  }
  HeaderReader reader(file.get());
  reader.moveTo(0);
  const auto size = static_cast<std::uint64_t>(status.st_size);
  RarVolume volume;
  if (reader.startsWith(newSignature)) {
    volume.isNewFormat = true;
    walkNewBlocks(reader, size, volume);
  } else if (reader.startsWith(oldSignature)) {
    walkOldBlocks(reader, size, volume);
  } else {
    return std::nullopt;
  }
  return volume;
}

}  // namespace oxarchive
