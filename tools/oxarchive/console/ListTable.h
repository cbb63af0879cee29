#pragma once

#include <OrvexKit/OXArchivedFile.h>

#include <cstdint>
#include <string>

#include "console/Console.h"

namespace oxarchive {

// The table that `list` prints: flags, size, time, kind and path of each entry, and then the
// totals. Columns start at the same places in every listing, so that scripts can cut them; the path
// is the last one, and whole.
//
//   Flags      Size  Modified               Kind                      Path
//   d-          0 B  Sep 09, 2001 01:46 AM  Folder                    docs
//   --       1.5 KB  Sep 09, 2001 01:46 AM  plain text document       docs/a b.txt
//   Total: 2 entries, 1.5 KB
class ListTable {
 public:
  explicit ListTable(Console& console) : console_(console) {}

  // `file` has a path.
  void add(const OXArchivedFile& file);

  // Prints what is still kept back; the table may go on after it.
  void flush();

  // Prints the totals too. Without an entry, a listing that is not complete has none.
  void finish(bool isComplete);

 private:
  void addRow(const std::string& flags, const std::string& size, const std::string& modified,
              const std::string& kind, const std::string& path);

  Console& console_;
  std::string rows_;  // put together, since a listing may have very many
  std::uint64_t entries_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace oxarchive
