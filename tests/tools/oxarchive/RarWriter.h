// SPDX-License-Identifier: MIT

// Writes sets of RAR volumes, since no free program does: the blocks of RAR 4 and RAR 5 as
// published. Files are stored or, in RAR 5, packed without becoming smaller.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ox::test {

struct RarFile {
  std::string path{};
  std::string contents{};
  bool isEncrypted = false;
  bool hasEndlessExtra = false;  // an extra record, in RAR 5, whose size leads back to its start
};

struct RarOptions {
  bool isNewFormat = false;             // RAR 5
  bool isPacked = false;                // in RAR 5
  bool isSolid = false;                 // in RAR 5
  std::size_t dataPerVolume = 100;      // bytes of file data in each volume
  bool startFilesInNewVolumes = false;  // no file runs across two volumes
  bool hasEncryptedHeaders = false;
  bool hasEndMarks = true;
  bool hasOldNames = false;  // in RAR 4: only the end marks tell the first volume from others
  bool hasSecondMainBlock = false;  // which says nothing of volumes
};

// The volumes in order, at least one. A single file is not marked as a volume.
std::vector<std::string> makeRarVolumes(const std::vector<RarFile>& files,
                                        const RarOptions& options = {});

}  // namespace ox::test
