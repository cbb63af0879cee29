#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "console/Console.h"
#include "reading/ListedFile.h"

namespace oxarchive {

enum class ListStyle { table, details, records };

// What `list` prints: a row for each entry, and then the totals. Columns start at the same places
// in every listing, so that scripts can cut them; the path is the last one, and whole.
//
//   Flags      Size  Modified               Kind                      Path
//   d-          0 B  Sep 09, 2001 01:46 AM  Folder                    docs
//   --       1.5 KB  Sep 09, 2001 01:46 AM  plain text document       docs/a b.txt
//   Total: 2 entries, 1.5 KB
//
// With details:
//
//   Flags  Mode                  Size  Modified                   Path
//   d-     drwxr-xr-x               0  2001-09-09T01:46:40+00:00  docs
//   --     lrwxrwxrwx               0  2001-09-09T01:46:40+00:00  link -> docs
//
// As records nothing but these, as they came.
class ListTable {
 public:
  ListTable(Console& console, ListStyle style) : console_(console), style_(style) {}

  // `file` has a path, and came as `record`.
  void add(const ListedFile& file, std::span<const std::byte> record);

  // Prints what is still kept back; the table may go on after it.
  void flush();

  // Prints the totals too. Without an entry, a listing that is not complete has none.
  void finish(bool isComplete);

 private:
  void addTableRow(const ListedFile& file);
  void addDetailsRow(const ListedFile& file);

  Console& console_;
  ListStyle style_;
  std::string rows_;  // put together, since a listing may have very many
  std::uint64_t entries_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace oxarchive
