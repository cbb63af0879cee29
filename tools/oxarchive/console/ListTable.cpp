#include "console/ListTable.h"

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include "console/Printable.h"
#include "console/SizeText.h"

namespace oxarchive {
namespace {

constexpr std::size_t flushSize = 32768;
constexpr std::size_t flagsWidth = 5;
constexpr std::size_t sizeWidth = 8;  // "999.9 MB"
constexpr std::size_t dateWidth = 21;
constexpr std::size_t kindWidth = 24;

std::string padding(std::string_view text, std::size_t width) {
  std::string spaces;
  spaces.resize(width - std::min(width, cellCount(text)), ' ');
  return spaces;
}

std::string left(const std::string& text, std::size_t width) {
  return text + padding(text, width) + "  ";
}

// The kind goes by the name alone, so that of a folder called "photos.zip" would be wrong.
std::string kindOf(const OXArchivedFile& file) {
  if (file.isFolder()) {
    return "Folder";
  }
  const OXString kind = OXFileUtilAdditions::fileDescription(file.path());
  return kind && !kind->empty() ? firstCells(printable(*kind), kindWidth) : "File";
}

std::string dateOf(const OXArchivedFile& file) {
  const OXString date = OXFileUtilAdditions::fileDateDescription(file.modificationTime());
  return date ? printable(*date) : "-";
}

}  // namespace

void ListTable::add(const OXArchivedFile& file) {
  if (entries_ == 0) {
    addHeader();
  }
  addRow({.flags = {file.isFolder() ? 'd' : '-', file.isEncrypted() ? 'e' : '-'},
          .size = sizeText(file.actualSize()),
          .modified = dateOf(file),
          .kind = kindOf(file),
          .path = printable(*file.path())});
  ++entries_;
  // What an archive claims may be anything.
  bytes_ += std::min(file.actualSize(), std::numeric_limits<std::uint64_t>::max() - bytes_);
  if (rows_.size() > flushSize) {
    flush();
  }
}

void ListTable::flush() {
  if (!rows_.empty()) {
    rows_.pop_back();  // the console adds it
    console_.result(rows_);
    rows_.clear();
  }
}

void ListTable::finish(bool isComplete) {
  flush();
  if (isComplete || entries_ > 0) {
    console_.result("Total: " + entriesText(entries_, bytes_) +
                    (isComplete ? "" : " (incomplete)"));
  }
}

void ListTable::addRow(const Row& row) {
  rows_ += left(row.flags, flagsWidth) + padding(row.size, sizeWidth) + row.size + "  " +
           left(row.modified, dateWidth) + left(row.kind, kindWidth) + row.path + "\n";
}

void ListTable::addHeader() {
  addRow(
      {.flags = "Flags", .size = "Size", .modified = "Modified", .kind = "Kind", .path = "Path"});
}

}  // namespace oxarchive
