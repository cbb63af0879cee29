#include "commands/Commands.h"

#include <OrvexKit/OrvexKit.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>

#include "console/Failure.h"
#include "console/ListTable.h"
#include "console/Password.h"
#include "console/Printable.h"
#include "reading/WorkerProcess.h"
#include "system/Interruption.h"

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
  if (std::string reason = end.reason(); !reason.empty()) {
    return reason;
  }
  if (isTruncated) {
    return "the process that read it stopped within an entry";
  }
  // The worker has told more about it, if it could.
  return end.exitCode != EXIT_SUCCESS ? "not all of it could be read" : "";
}

// Another program in place of this one, if the user wants that.
int runWorker(const ListOptions& options, Console& console) {
  const char* const other = std::getenv("OXARCHIVE_WORKER");
  if (other == nullptr || *other == '\0') {
    return sendListing(options.archive, options.limits, console) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  setWriteSignals(false);
  ::execl(other, other, "list-worker", options.archive.c_str(), nullptr);
  console.message(withSystemReason("cannot start a process", errno));
  return EXIT_FAILURE;
}

}  // namespace

bool listArchive(const ListOptions& options, Console& console) {
  // Names are never encrypted where they can be read; what is wrong with the option is told.
  static_cast<void>(readPassword(options.password, false));
  const std::string label = printable(options.archive) + ": ";
  WorkerProcess worker([&] { return runWorker(options, console); });
  OXCBORSequenceReader reader(worker.output());
  ListTable table(console);
  const bool areRecords = listRecords(reader, table, console);
  table.flush();
  if (!console.areResultsWritten()) {
    return false;  // which ends the worker
  }
  if (!areRecords) {
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
