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

// The part of a file that is in one volume.
struct Piece {
  const RarFile& file;
  std::string_view data;
  bool isContinuation;
  bool isContinued;
};

using Volume = std::vector<Piece>;

std::vector<Volume> distribute(const std::vector<RarFile>& files, const RarOptions& options) {
  std::vector<Volume> volumes(1);
  std::size_t room = options.dataPerVolume;
  const auto startVolume = [&] {
    volumes.emplace_back();
    room = options.dataPerVolume;
  };
  for (const RarFile& file : files) {
    if (options.startFilesInNewVolumes) {
      if (!volumes.back().empty()) {
        startVolume();
      }
      volumes.back().push_back({file, file.contents, false, false});
      continue;
    }
    std::string_view rest = file.contents;
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

// Only the last part of a file has the check sum of all of it.
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
  unsigned flags = isSet ? 0x0011U : 0U;
  flags |= isSet && index == 0 ? 0x0100U : 0U;
  flags |= options.hasEncryptedHeaders ? 0x0080U : 0U;
  std::string bytes("Rar!\x1A\x07\x00", 7);
  bytes += oldBlock(0x73, flags, std::string(6, '\0'));
  for (const Piece& piece : volumes[index]) {
    bytes += oldFileBlock(piece);
  }
  if (options.hasEndMarks) {
    bytes += oldBlock(0x7B, index + 1 < volumes.size() ? 0x4001 : 0x4000, "");
  }
  return bytes;
}

// RAR 5 --------------------------------------------------------------------------------------

std::string newBlock(const std::string& header) {
  const std::string sized = packedNumber(header.size()) + header;
  return number(crc32(sized), 4) + sized;
}

std::string newFileBlock(const Piece& piece) {
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
    // A record of an unknown kind, then that of encryption: version, flags, count, salt and vector.
    extra = packedNumber(2) + packedNumber(0x70) + "x";
    extra += packedNumber(36) + packedNumber(1) + packedNumber(0) + packedNumber(0) +
             number(15, 1) + std::string(32, 's');
    extraSize = packedNumber(extra.size());
  }
  return newBlock(packedNumber(2) + packedNumber(flags) + extraSize +
                  packedNumber(piece.data.size()) + packedNumber(hasCheckSum) +
                  packedNumber(piece.file.contents.size()) + packedNumber(0100644) +
                  number(checkSum(piece), 4) + packedNumber(0) + packedNumber(unixSystem) +
                  packedNumber(piece.file.path.size()) + piece.file.path + extra) +
         std::string(piece.data);
}

std::string newVolume(const std::vector<Volume>& volumes, std::size_t index,
                      const RarOptions& options) {
  const bool isSet = volumes.size() > 1;
  std::string bytes("Rar!\x1A\x07\x01\x00", 8);
  if (options.hasEncryptedHeaders) {
    // Version, flags, exponent of the count of rounds, salt; what follows is cipher text.
    bytes += newBlock(packedNumber(4) + packedNumber(0) + packedNumber(0) + packedNumber(0) +
                      number(15, 1) + std::string(16, 's'));
    return bytes + std::string(64, 'c');
  }
  unsigned archiveFlags = isSet ? 0x01U : 0U;
  archiveFlags |= index > 0 ? 0x02U : 0U;
  bytes += newBlock(packedNumber(1) + packedNumber(0) + packedNumber(archiveFlags) +
                    (index > 0 ? packedNumber(index) : ""));
  for (const Piece& piece : volumes[index]) {
    bytes += newFileBlock(piece);
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
  const std::vector<Volume> volumes = distribute(files, options);
  std::vector<std::string> result;
  for (std::size_t i = 0; i < volumes.size(); ++i) {
    result.push_back(options.isNewFormat ? newVolume(volumes, i, options)
                                         : oldVolume(volumes, i, options));
  }
  return result;
}

}  // namespace ox::test
