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

// One entry of an archive, as the archive has it: names are not checked in any way.
struct Entry {
  std::string path;
  EntryKind kind = EntryKind::other;
  std::string linkTarget;  // of a link; of a hard link the path of another entry
  std::optional<std::uint64_t> size;
  bool isSparse = false;
  bool hasHoleAtEnd = false;  // perhaps
  bool isEncrypted = false;
  mode_t mode = 0;  // its type and permissions, as `stat` has them
  Times times;
  std::string warning;  // what was odd about the entry, printable; it can be used all the same
};

// A run of a file's contents. Between two blocks are zeros.
struct DataBlock {
  Bytes bytes;
  std::uint64_t offset;
};

}  // namespace oxarchive
