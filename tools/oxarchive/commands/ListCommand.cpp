#include "commands/ListCommand.h"

#include <OrvexKit/OrvexKit.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "console/ListTable.h"
#include "console/Printable.h"
#include "reading/WorkerProcess.h"

namespace oxarchive {
namespace {

using ReaderState = OXCBORSequenceReader::State;

// Whether everything that came was a record with a path. Ends early when the table cannot be
// written.
bool listRecords(OXCBORSequenceReader& reader, ListTable& table, const Console& console) {
  while (const auto item = reader.next()) {
    const std::shared_ptr<OXArchivedFile> file =
        OXCBORDecodeRecord<OXArchivedFile>(*item, OXCBORMode::keyed);
    if (file == nullptr || !file->path()) {
      return false;
    }
    table.add(*file);
    if (!console.areResultsWritten()) {
      return true;
    }
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
  ListTable table(console);
  const bool areRecords = listRecords(reader, table, console);
  table.flush();
  if (!console.areResultsWritten()) {
    return false;  // which ends the worker
  }
  if (!areRecords) {
    worker.kill();
    table.finish(false);
    console.message(label + "the process that read it sent something that is no listing");
    return false;
  }
  const std::string reason =
      reasonOf(worker.wait(), reader.state() == OXCBORSequenceReader::State::truncated);
  table.finish(reason.empty());
  if (!reason.empty()) {
    console.message(label + reason + "; the listing is incomplete");
  }
  return reason.empty();
}

}  // namespace oxarchive
