// SPDX-License-Identifier: MIT

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

// The properties of a RAR file that libarchive does not report. Without them it ends the archive at
// a volume's end if no entry continues there, and accepts a file truncated between two entries, a
// stored entry with a wrong checksum, and RAR 5 ciphertext as plain data.
struct RarVolume {
  enum class Ending {
    unknown,    // no end marker: an old program wrote the file, or the rest is encrypted
    cutShort,   // the file is truncated
    last,       // no volume follows
    continued,  // another volume follows
  };

  bool isNewFormat = false;  // RAR 5
  bool isVolume = false;
  bool isContinuation = false;  // of an earlier volume
  bool hasEncryptedNames = false;
  Ending ending = Ending::unknown;
  // The entries that end in this volume, in order.
  std::vector<RarEntry> entries{};
};

// Reads the blocks of a RAR file that was split into the files at `paths`, or of a whole one. No
// value if it is not a RAR file or cannot be read.
std::optional<RarVolume> inspectRarVolume(const std::vector<std::string>& paths);

}  // namespace oxarchive
