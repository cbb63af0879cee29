// SPDX-License-Identifier: MIT

#include "RarWriter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace ox::test {
namespace {

std::uint32_t crc32(std::string_view bytes) {
  std::uint32_t crc = ~0U;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      crc = crc >> 1U ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
  }
  return ~crc;
}

std::string number(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) {
    bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
  }
  return bytes;
}

std::string packedNumber(std::uint64_t value) {
  std::string bytes;
  while (value >= 0x80) {
    bytes += static_cast<char>((value & 0x7FU) | 0x80U);
    value >>= 7U;
  }
  return bytes + static_cast<char>(value);
}

// Writes bits to bytes, highest first.
class BitWriter {
 public:
  void put(std::uint64_t value, unsigned count) {
    for (unsigned bit = count; bit-- > 0; ++size_) {
      if (size_ % 8 == 0) {
        bytes_ += '\0';
      }
      bytes_.back() = static_cast<char>(static_cast<unsigned char>(bytes_.back()) |
                                        (value >> bit & 1U) << (7 - size_ % 8));
    }
  }

  const std::string& bytes() const { return bytes_; }
  unsigned bitsInLastByte() const { return size_ == 0 ? 0 : (size_ - 1) % 8 + 1; }

 private:
  std::string bytes_;
  unsigned size_ = 0;
};

// A table of code lengths in which each byte is a symbol of eight bits, and nothing else is a
// symbol. It is packed with another table, in which "8", "repeat the previous, 11 times or more"
// and "0, 11 times or more" have two bits each; a fourth symbol completes it.
void putTable(BitWriter& bits) {
  constexpr std::array<unsigned, 4> used{8, 17, 18, 19};
  for (unsigned symbol = 0; symbol < 20; ++symbol) {
    bits.put(std::ranges::find(used, symbol) != used.end() ? 2 : 0, 4);
  }
  constexpr unsigned same = 1;
  constexpr unsigned zeros = 3;
  const auto putRun = [&bits](unsigned symbol, unsigned count) {
    bits.put(symbol, 2);
    bits.put(count - 11, 7);
  };
  bits.put(0, 2);
  putRun(same, 138);
  putRun(same, 117);
  // The remaining literals, and the tables of distances and lengths.
  putRun(zeros, 138);
  putRun(zeros, 306 + 64 + 16 + 44 - 256 - 138);
}

std::string packedBlock(std::string_view contents, bool isFirst, bool isLast) {
  BitWriter bits;
  if (isFirst) {
    putTable(bits);
  }
  for (const char byte : contents) {
    bits.put(static_cast<unsigned char>(byte), 8);
  }
  constexpr unsigned sizeBytes = 3;
  const unsigned flags = (isFirst ? 0x80U : 0U) | (isLast ? 0x40U : 0U) | (sizeBytes - 1) << 3U |
                         (bits.bitsInLastByte() - 1);
  const std::string size = number(bits.bytes().size(), sizeBytes);
  unsigned check = 0x5AU ^ flags;
  for (const char byte : size) {
    check ^= static_cast<unsigned char>(byte);
  }
  return number(flags, 1) + number(check, 1) + size + bits.bytes();
}

// `contents` in RAR 5's packed format with literals only, in blocks.
std::string packed(std::string_view contents) {
  constexpr std::size_t blockSize = 500;
  std::string bytes;
  for (std::size_t start = 0; start < contents.size(); start += blockSize) {
    bytes += packedBlock(contents.substr(start, blockSize), start == 0,
                         start + blockSize >= contents.size());
  }
  return bytes;
}

// The part of a file in one volume.
struct Piece {
  const RarFile& file;
  std::string_view data;
  bool isContinuation;
  bool isContinued;
};

using Volume = std::vector<Piece>;

// The data written for each file, in order.
std::vector<std::string> dataOf(const std::vector<RarFile>& files, const RarOptions& options) {
  std::vector<std::string> data;
  for (const RarFile& file : files) {
    const bool isPacked = options.isPacked && !file.contents.empty();
    data.push_back(isPacked ? packed(file.contents) : file.contents);
  }
  return data;
}

// Holds references to `files` and `data`.
std::vector<Volume> distribute(const std::vector<RarFile>& files,
                               const std::vector<std::string>& data, const RarOptions& options) {
  std::vector<Volume> volumes(1);
  std::size_t room = options.dataPerVolume;
  const auto startVolume = [&] {
    volumes.emplace_back();
    room = options.dataPerVolume;
  };
  for (std::size_t i = 0; i < files.size(); ++i) {
    const RarFile& file = files[i];
    std::string_view rest = data[i];
    if (options.startFilesInNewVolumes) {
      if (!volumes.back().empty()) {
        startVolume();
      }
      volumes.back().push_back({file, rest, false, false});
      continue;
    }
    bool isContinuation = false;
    do {
      if (room == 0) {
        startVolume();
      }
      const std::size_t size = std::min(room, rest.size());
      volumes.back().push_back({file, rest.substr(0, size), isContinuation, size < rest.size()});
      rest.remove_prefix(size);
      room -= size;
      isContinuation = true;
    } while (!rest.empty());
  }
  return volumes;
}

// Only the last part of a file has the checksum of the whole file.
std::uint32_t checkSum(const Piece& piece) {
  return crc32(piece.isContinued ? piece.data : std::string_view(piece.file.contents));
}

// RAR 1.5 to 4 -------------------------------------------------------------------------------

std::string oldBlock(unsigned type, unsigned flags, const std::string& rest) {
  const std::string header = number(type, 1) + number(flags, 2) + number(rest.size() + 7, 2) + rest;
  return number(crc32(header) & 0xFFFFU, 2) + header;
}

std::string oldFileBlock(const Piece& piece) {
  unsigned flags = 0x8000;
  flags |= piece.isContinuation ? 0x01U : 0U;
  flags |= piece.isContinued ? 0x02U : 0U;
  flags |= piece.file.isEncrypted ? 0x04U : 0U;
  constexpr unsigned unixSystem = 3;
  constexpr unsigned stored = 0x30;
  constexpr std::uint32_t time = 0x3A21'0000;
  constexpr std::uint32_t attributes = 0100644;
  return oldBlock(0x74, flags,
                  number(piece.data.size(), 4) + number(piece.file.contents.size(), 4) +
                      number(unixSystem, 1) + number(checkSum(piece), 4) + number(time, 4) +
                      number(20, 1) + number(stored, 1) + number(piece.file.path.size(), 2) +
                      number(attributes, 4) + piece.file.path) +
         std::string(piece.data);
}

std::string oldVolume(const std::vector<Volume>& volumes, std::size_t index,
                      const RarOptions& options) {
  const bool isSet = volumes.size() > 1;
  const bool hasNewNames = isSet && !options.hasOldNames;
  unsigned flags = isSet ? 0x0001U : 0U;
  flags |= hasNewNames ? 0x0010U : 0U;
  flags |= hasNewNames && index == 0 ? 0x0100U : 0U;
  flags |= options.hasEncryptedHeaders ? 0x0080U : 0U;
  std::string bytes("Rar!\x1A\x07\x00", 7);
  bytes += oldBlock(0x73, flags, std::string(6, '\0'));
  if (options.hasSecondMainBlock) {
    bytes += oldBlock(0x73, 0, std::string(6, '\0'));
  }
  for (const Piece& piece : volumes[index]) {
    bytes += oldFileBlock(piece);
  }
  if (options.hasEndMarks) {
    const unsigned endFlags = index + 1 < volumes.size() ? 0x4001 : 0x4000;
    bytes += options.hasOldNames
                 ? oldBlock(0x7B, endFlags | 0x000AU, number(crc32(bytes), 4) + number(index, 2))
                 : oldBlock(0x7B, endFlags, "");
  }
  return bytes;
}

// RAR 5 --------------------------------------------------------------------------------------

std::string newBlock(const std::string& header) {
  const std::string sized = packedNumber(header.size()) + header;
  return number(crc32(sized), 4) + sized;
}

// Packing version 0, with the smallest window. A file of a solid archive continues with the state
// of the file before.
unsigned packing(const Piece& piece, bool isFirst, const RarOptions& options) {
  const unsigned method = options.isPacked && !piece.file.contents.empty() ? 3 : 0;
  return method << 7U | (options.isSolid && !isFirst ? 0x40U : 0U);
}

std::string newFileBlock(const Piece& piece, bool isFirst, const RarOptions& options) {
  constexpr unsigned hasData = 0x02;
  constexpr unsigned hasCheckSum = 0x04;
  constexpr unsigned unixSystem = 1;
  unsigned flags = hasData;
  flags |= piece.isContinuation ? 0x08U : 0U;
  flags |= piece.isContinued ? 0x10U : 0U;
  std::string extra;
  std::string extraSize;
  if (piece.file.isEncrypted) {
    flags |= 0x01U;
    // A record of an unknown kind, then an encryption record: version, flags, count, salt and
    // initialisation vector.
    extra = packedNumber(2) + packedNumber(0x70) + "x";
    extra += packedNumber(36) + packedNumber(1) + packedNumber(0) + packedNumber(0) +
             number(15, 1) + std::string(32, 's');
  }
  if (piece.file.hasEndlessExtra) {
    flags |= 0x01U;
    const std::uint64_t back = -std::uint64_t{10};  // a size that takes ten bytes itself
    extra = packedNumber(back) + packedNumber(2);
  }
  extraSize = extra.empty() ? "" : packedNumber(extra.size());
  return newBlock(packedNumber(2) + packedNumber(flags) + extraSize +
                  packedNumber(piece.data.size()) + packedNumber(hasCheckSum) +
                  packedNumber(piece.file.contents.size()) + packedNumber(0100644) +
                  number(checkSum(piece), 4) + packedNumber(packing(piece, isFirst, options)) +
                  packedNumber(unixSystem) + packedNumber(piece.file.path.size()) +
                  piece.file.path + extra) +
         std::string(piece.data);
}

std::string newVolume(const std::vector<Volume>& volumes, std::size_t index,
                      const RarOptions& options) {
  const bool isSet = volumes.size() > 1;
  std::string bytes("Rar!\x1A\x07\x01\x00", 8);
  if (options.hasEncryptedHeaders) {
    // Version, flags, logarithm of the number of rounds, salt; then ciphertext.
    bytes += newBlock(packedNumber(4) + packedNumber(0) + packedNumber(0) + packedNumber(0) +
                      number(15, 1) + std::string(16, 's'));
    return bytes + std::string(64, 'c');
  }
  unsigned archiveFlags = isSet ? 0x01U : 0U;
  archiveFlags |= index > 0 ? 0x02U : 0U;
  archiveFlags |= options.isSolid ? 0x04U : 0U;
  bytes += newBlock(packedNumber(1) + packedNumber(0) + packedNumber(archiveFlags) +
                    (index > 0 ? packedNumber(index) : ""));
  if (options.hasSecondMainBlock) {
    bytes += newBlock(packedNumber(1) + packedNumber(0) + packedNumber(0));
  }
  const RarFile& first = volumes.front().front().file;
  for (const Piece& piece : volumes[index]) {
    bytes += newFileBlock(piece, &piece.file == &first, options);
  }
  if (options.hasEndMarks) {
    bytes += newBlock(packedNumber(5) + packedNumber(0) +
                      packedNumber(index + 1 < volumes.size() ? 1 : 0));
  }
  return bytes;
}

}  // namespace

std::vector<std::string> makeRarVolumes(const std::vector<RarFile>& files,
                                        const RarOptions& options) {
  const std::vector<std::string> data = dataOf(files, options);
  const std::vector<Volume> volumes = distribute(files, data, options);
  std::vector<std::string> result;
  for (std::size_t i = 0; i < volumes.size(); ++i) {
    result.push_back(options.isNewFormat ? newVolume(volumes, i, options)
                                         : oldVolume(volumes, i, options));
  }
  return result;
}

}  // namespace ox::test
