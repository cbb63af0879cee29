#include "console/ListTable.h"

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <cmath>
#include <ctime>
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

// In a language without words for the halves of the day the hours count to 24.
std::string dateOf(const OXArchivedFile& file) {
  OXString date = OXFileUtilAdditions::fileDateDescription(file.modificationTime());
  if (date && date->ends_with(' ')) {
    const double seconds = std::floor(file.modificationTime()->time_since_epoch().count());
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    ::localtime_r(&time, &local);
    constexpr std::size_t timeSize = 6;  // "04:07 "
    const std::string hour = std::to_string(local.tm_hour);
    date->replace(date->size() - timeSize, 2, (hour.size() < 2 ? "0" : "") + hour);
    date->pop_back();
  }
  return date ? printable(*date) : "-";
}

}  // namespace

void ListTable::add(const OXArchivedFile& file) {
  if (entries_ == 0) {
    addRow("Flags", "Size", "Modified", "Kind", "Path");
  }
  addRow({file.isFolder() ? 'd' : '-', file.isEncrypted() ? 'e' : '-'}, sizeText(file.actualSize()),
         dateOf(file), kindOf(file), printable(*file.path()));
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

void ListTable::addRow(const std::string& flags, const std::string& size,
                       const std::string& modified, const std::string& kind,
                       const std::string& path) {
  rows_ += left(flags, flagsWidth) + padding(size, sizeWidth) + size + "  " +
           left(modified, dateWidth) + left(kind, kindWidth) + path + "\n";
}

}  // namespace oxarchive
