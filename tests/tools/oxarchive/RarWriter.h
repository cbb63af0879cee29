// Sets of RAR volumes, since no free program writes them: the blocks of RAR 4 and RAR 5 as their
// authors describe them. Files are stored, or, in RAR 5, packed without getting any smaller.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ox::test {

struct RarFile {
  std::string path{};
  std::string contents{};
  bool isEncrypted = false;
};

struct RarOptions {
  bool isNewFormat = false;             // RAR 5
  bool isPacked = false;                // in RAR 5
  bool isSolid = false;                 // in RAR 5
  std::size_t dataPerVolume = 100;      // bytes of file data in each volume
  bool startFilesInNewVolumes = false;  // no file runs across two volumes
  bool hasEncryptedHeaders = false;
  bool hasEndMarks = true;
};

// The volumes in order, at least one. A single one is no volume by its own account.
std::vector<std::string> makeRarVolumes(const std::vector<RarFile>& files,
                                        const RarOptions& options = {});

}  // namespace ox::test
