#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace oxarchive {

struct RarEntry {
  std::optional<std::uint32_t> checkSum{};  // CRC-32 of its contents; RAR 5 may leave it out
  bool isEncrypted = false;
};

// What a RAR file says of itself. libarchive does not tell it, and takes the end of one volume for
// the end of the archive when no file runs across the two, a file that is cut short between two of
// its entries for a whole one, a stored file whose check sum is wrong for a good one, and what is
// encrypted by RAR 5 for plain data.
struct RarVolume {
  enum class Ending {
    unknown,    // there is no end mark: an old program wrote the file, or the rest is encrypted
    cutShort,   // the file ends in the middle of something
    last,       // nothing follows this file
    continued,  // another volume follows
  };

  bool isNewFormat = false;  // that of RAR 5
  bool isVolume = false;
  bool isContinuation = false;  // of an earlier volume
  bool hasEncryptedNames = false;
  Ending ending = Ending::unknown;
  // The entries that end in this volume, in their order.
  std::vector<RarEntry> entries;
};

// Walks over the blocks of a RAR file. No value when the file is none, or cannot be read.
std::optional<RarVolume> inspectRarVolume(const std::string& path);

}  // namespace oxarchive
