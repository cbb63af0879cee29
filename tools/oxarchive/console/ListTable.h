// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "console/Console.h"
#include "reading/ListedFile.h"

namespace oxarchive {

enum class ListStyle { table, details, records };

// The output of `list`: a row for each entry, then the totals. Columns start at the same positions
// in every listing, so that scripts can cut them. The path is last and never truncated.
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
// With records, only the records as received.
class ListTable {
 public:
  ListTable(Console& console, ListStyle style) : console_(console), style_(style) {}

  // `file` has a path and was decoded from `record`.
  void add(const ListedFile& file, std::span<const std::byte> record);

  // Prints buffered rows; more may follow.
  void flush();

  // Prints the totals too, unless the listing is incomplete and has no entry.
  void finish(bool isComplete);

 private:
  void addTableRow(const ListedFile& file);
  void addDetailsRow(const ListedFile& file);

  Console& console_;
  ListStyle style_;
  std::string rows_;  // buffered, since a listing may have very many
  std::uint64_t entries_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace oxarchive
