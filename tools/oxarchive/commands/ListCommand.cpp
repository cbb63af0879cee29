// SPDX-License-Identifier: MIT

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
#include "system/Interruption.h"
#include "system/WorkerProcess.h"

namespace oxarchive {
namespace {

using ReaderState = OXCBORSequenceReader::State;

// Returns whether everything received was a record with a path. Stops early if the table cannot be
// written.
bool listRecords(OXCBORSequenceReader& reader, ListTable& table, const Console& console) {
  while (const auto item = reader.next()) {
    const auto file = OXCBORDecodeRecord<ListedFile>(*item, OXCBORMode::keyed);
    if (file == nullptr || !file->path()) {
      return false;
    }
    table.add(*file, *item);
    if (!console.areResultsWritten()) {
      return true;
    }
  }
  const ReaderState state = reader.state();
  return state == ReaderState::ended || state == ReaderState::truncated;
}

// Why the listing is incomplete, unless the worker has reported it itself; else "".
std::string reasonOf(const WorkerEnd& end, bool isTruncated) {
  if (std::string reason = end.reason(); !reason.empty()) {
    return reason;
  }
  if (isTruncated) {
    return "the process that read it stopped in the middle of an entry";
  }
  const bool isSilent = end.exitCode != EXIT_SUCCESS && end.exitCode != failureTold;
  return isSilent ? "not all of it could be read" : "";
}

// Runs another program as the worker if the user has set one.
int runWorker(const std::string& archive, const Limits& limits, Console& console) {
  const char* const other = std::getenv("OXARCHIVE_WORKER");
  if (other == nullptr || *other == '\0') {
    return sendListing(archive, limits, console) ? EXIT_SUCCESS : failureTold;
  }
  setWriteSignals(false);
  ::execl(other, other, "list-worker", archive.c_str(), nullptr);
  console.message(withSystemReason("cannot start a process", errno));
  return failureTold;
}

bool listArchive(const std::string& archive, const Options& options, Console& console) {
  const std::string label = printable(archive) + ": ";
  WorkerProcess worker([&] { return runWorker(archive, options.limits, console); });
  OXCBORSequenceReader reader(worker.output());
  ListTable table(console, options.style);
  const bool areRecords = listRecords(reader, table, console);
  table.flush();
  if (!console.areResultsWritten()) {
    return false;  // ends the worker
  }
  if (!areRecords) {
    table.finish(false);
    console.message(label + "the process that read it sent something other than a listing");
    return false;
  }
  const WorkerEnd end = worker.wait();
  const std::string reason = reasonOf(end, reader.state() == ReaderState::truncated);
  const bool isComplete = reason.empty() && end.exitCode == EXIT_SUCCESS;
  table.finish(isComplete);
  if (!reason.empty()) {
    console.message(label + reason + "; the listing is incomplete");
  }
  return isComplete;
}

}  // namespace

bool listArchives(const Options& options, Console& console) {
  // Listing needs no password, but errors in the option are reported.
  static_cast<void>(readPassword(options.password, false));
  const bool areNamed = options.operands.size() > 1 && options.style != ListStyle::records;
  bool isComplete = true;
  for (const std::string& archive : options.operands) {
    if (areNamed) {
      console.result((&archive == options.operands.data() ? "" : "\n") + printable(archive) + ":");
    }
    isComplete = listArchive(archive, options, console) && isComplete;
  }
  return isComplete;
}

}  // namespace oxarchive
