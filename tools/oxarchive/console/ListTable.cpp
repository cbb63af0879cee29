// SPDX-License-Identifier: MIT

#include "console/ListTable.h"

#include <OrvexKit/OXFileUtil.h>
#include <archive_entry.h>
#include <glib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string_view>

#include "console/Printable.h"

namespace oxarchive {
namespace {

constexpr std::size_t flushSize = 32768;
constexpr std::size_t flagsWidth = 5;
constexpr std::size_t sizeWidth = 8;  // "999.9 MB"
constexpr std::size_t dateWidth = 21;
constexpr std::size_t kindWidth = 24;
constexpr std::size_t modeWidth = 10;
constexpr std::size_t bytesWidth = 14;
constexpr std::size_t isoWidth = 25;

// Adds a cell and the gap behind it.
void addCell(std::string& rows, std::string_view text, std::size_t width, bool isRight = false) {
  constexpr std::size_t gap = 2;
  const std::size_t spaces = width - std::min(width, cellCount(text));
  rows.append(isRight ? spaces : 0, ' ').append(text).append(isRight ? gap : spaces + gap, ' ');
}

std::string flagsOf(const ListedFile& file) {
  return {file.isFolder() ? 'd' : '-', file.isEncrypted() ? 'e' : '-'};
}

// The library derives a kind from the name alone, which is wrong for a folder "photos.zip".
std::string kindOf(const ListedFile& file) {
  if (file.isFolder()) {
    return "Folder";
  }
  const OXString kind = OXFileUtilAdditions::fileDescription(file.path());
  return kind && !kind->empty() ? firstCells(printable(*kind), kindWidth) : "File";
}

using LocalTime = std::unique_ptr<GDateTime, void (*)(GDateTime*)>;

// Null if the date is outside the calendar.
LocalTime localTimeOf(const ListedFile& file) {
  const std::optional<OXDate> date = file.modificationTime();
  const double seconds = date ? std::floor(date->time_since_epoch().count()) : NAN;
  constexpr double farthest = 1e12;
  return {std::abs(seconds) < farthest
              ? ::g_date_time_new_from_unix_local(static_cast<gint64>(seconds))
              : nullptr,
          ::g_date_time_unref};
}

// In languages without words for AM and PM, uses 24 hours.
std::string dateOf(const ListedFile& file) {
  OXString date = OXFileUtilAdditions::fileDateDescription(file.modificationTime());
  if (!date || !date->ends_with(' ')) {
    return date ? printable(*date) : "-";
  }
  if (const LocalTime local = localTimeOf(file)) {
    constexpr std::size_t timeSize = 6;  // "04:07 "
    const int hour = ::g_date_time_get_hour(local.get());
    date->replace(date->size() - timeSize, 2, (hour < 10 ? "0" : "") + std::to_string(hour));
    date->pop_back();
  }
  return printable(*date);
}

// "2001-09-09T03:46:40+02:00"
std::string isoTimeOf(const ListedFile& file) {
  const LocalTime local = localTimeOf(file);
  if (!local) {
    return "-";
  }
  const std::unique_ptr<char, void (*)(void*)> text(
      ::g_date_time_format(local.get(), "%Y-%m-%dT%H:%M:%S%:z"), ::g_free);
  return text.get();
}

// "drwxr-xr-x"
std::string modeOf(const ListedFile& file) {
  const std::unique_ptr<struct ::archive_entry, void (*)(struct ::archive_entry*)> entry(
      ::archive_entry_new(), ::archive_entry_free);
  ::archive_entry_set_mode(entry.get(), file.mode);
  return std::string(::archive_entry_strmode(entry.get())).substr(0, modeWidth);
}

}  // namespace

void ListTable::add(const ListedFile& file, std::span<const std::byte> record) {
  if (style_ == ListStyle::table) {
    addTableRow(file);
  } else if (style_ == ListStyle::details) {
    addDetailsRow(file);
  } else {
    rows_.append(reinterpret_cast<const char*>(record.data()), record.size());
  }
  ++entries_;
  // The sizes in an archive may be wrong, so the sum must not overflow.
  bytes_ += std::min(file.actualSize(), std::numeric_limits<std::uint64_t>::max() - bytes_);
  if (rows_.size() > flushSize) {
    flush();
  }
}

void ListTable::flush() {
  if (!rows_.empty()) {
    console_.results(rows_);
    rows_.clear();
  }
}

void ListTable::finish(bool isComplete) {
  flush();
  if (style_ != ListStyle::records && (isComplete || entries_ > 0)) {
    console_.result("Total: " + entriesText(entries_, bytes_) +
                    (isComplete ? "" : " (incomplete)"));
  }
}

void ListTable::addTableRow(const ListedFile& file) {
  if (entries_ == 0) {
    rows_ += "Flags      Size  Modified               Kind                      Path\n";
  }
  addCell(rows_, flagsOf(file), flagsWidth);
  addCell(rows_, sizeText(file.actualSize()), sizeWidth, true);
  addCell(rows_, dateOf(file), dateWidth);
  addCell(rows_, kindOf(file), kindWidth);
  rows_ += printable(*file.path()) + "\n";
}

void ListTable::addDetailsRow(const ListedFile& file) {
  if (entries_ == 0) {
    rows_ += "Flags  Mode                  Size  Modified                   Path\n";
  }
  addCell(rows_, flagsOf(file), flagsWidth);
  addCell(rows_, modeOf(file), modeWidth);
  addCell(rows_, std::to_string(file.actualSize()), bytesWidth, true);
  addCell(rows_, isoTimeOf(file), isoWidth);
  rows_ += printable(*file.path());
  if (!file.linkTarget.empty()) {
    rows_ += (S_ISLNK(file.mode) ? " -> " : " link to ") + printable(file.linkTarget);
  }
  rows_ += "\n";
}

}  // namespace oxarchive
