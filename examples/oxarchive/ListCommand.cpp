#include "ListCommand.h"

#include <OrvexKit/OrvexKit.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "Printable.h"
#include "WorkerProcess.h"

namespace oxarchive {
namespace {

using ReaderState = OXCBORSequenceReader::State;

// The rows are put together, since a listing may have very many.
class Table {
 public:
  explicit Table(Console& console) : console_(console) {}

  void add(const OXArchivedFile& file) {
    addLine(std::string{file.isFolder() ? 'd' : '-', file.isEncrypted() ? 'e' : '-'},
            std::to_string(file.actualSize()), printable(*file.path()));
    if (rows_.size() > flushSize) {
      flush();
    }
  }

  void flush() {
    if (!rows_.empty()) {
      rows_.pop_back();  // the console adds it
      console_.result(rows_);
      rows_.clear();
    }
  }

 private:
  static constexpr std::size_t flushSize = 32768;
  static constexpr std::size_t sizeWidth = 14;

  void addLine(std::string_view flags, std::string_view size, std::string_view path) {
    if (isFirst_) {
      isFirst_ = false;
      addLine("Flags", "Size", "Path");
    }
    constexpr std::size_t flagsWidth = 5;
    rows_ += flags;
    rows_.append(flagsWidth - flags.size(), ' ');
    rows_.append(sizeWidth - std::min(sizeWidth - 1, size.size()), ' ');
    rows_ += size;
    rows_ += "  ";
    rows_ += path;
    rows_ += '\n';
  }

  Console& console_;
  std::string rows_;
  bool isFirst_ = true;
};

// Whether everything that came was a record with a path.
bool listRecords(OXCBORSequenceReader& reader, Table& table) {
  while (const auto item = reader.next()) {
    const std::shared_ptr<OXArchivedFile> file =
        OXCBORDecodeRecord<OXArchivedFile>(*item, OXCBORMode::keyed);
    if (file == nullptr || !file->path()) {
      return false;
    }
    table.add(*file);
  }
  const ReaderState state = reader.state();
  return state == ReaderState::ended || state == ReaderState::truncated;
}

// Why the listing is not whole, or "" when it is.
std::string reasonOf(const WorkerEnd& end, bool isTruncated) {
  if (end.signal != 0) {
    return "the process that read it was ended by signal " + std::to_string(end.signal);
  }
  if (isTruncated) {
    return "the process that read it stopped within an entry";
  }
  // The worker has told more about it, if it could.
  return end.exitCode != EXIT_SUCCESS ? "not all of it could be read" : "";
}

}  // namespace

bool listArchive(const std::string& archive, Console& console) {
  const std::string label = printable(archive) + ": ";
  WorkerProcess worker("list-worker", archive);
  OXCBORSequenceReader reader(worker.output());
  Table table(console);
  const bool areRecords = listRecords(reader, table);
  table.flush();
  if (!areRecords) {
    worker.kill();
    console.message(label + "the process that read it sent something that is no listing");
    return false;
  }
  const std::string reason =
      reasonOf(worker.wait(), reader.state() == OXCBORSequenceReader::State::truncated);
  if (!reason.empty()) {
    console.message(label + reason + "; the listing is incomplete");
  }
  return reason.empty();
}

}  // namespace oxarchive
