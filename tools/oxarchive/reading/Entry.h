// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "volumes/ByteSource.h"

namespace oxarchive {

enum class EntryKind { file, folder, symbolicLink, hardLink, other };

struct Times {
  std::optional<timespec> accessed;
  std::optional<timespec> modified;
};

// An entry as stored in the archive: its names are unchecked.
struct Entry {
  std::string path;
  EntryKind kind = EntryKind::other;
  std::string linkTarget;  // of a link; of a hard link the path of another entry
  std::optional<std::uint64_t> size;
  bool isSparse = false;
  bool hasHoleAtEnd = false;  // possibly
  bool isEncrypted = false;
  mode_t mode = 0;  // its type and permissions, as `stat` has them
  Times times;
  std::string warning;  // an oddity that does not prevent use, printable
};

// A range of a file's contents. Gaps between blocks are zeros.
struct DataBlock {
  Bytes bytes;
  std::uint64_t offset;
};

}  // namespace oxarchive
