// SPDX-License-Identifier: MIT

// From a click on any volume of an archive to its contents in a folder of their own.
//
//   tour VOLUME FOLDER

#include <OrvexKit/OrvexKit.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tour/ArchiveWorker.h"
#include "tour/Report.h"
#include "tour/Volumes.h"
#include "tour/WorkerProcess.h"

namespace {

using namespace OXFileUtilAdditions;

// Names come from strangers, and a terminal obeys control characters.
std::string printable(std::string_view text) {
  std::string shown(text);
  for (char& character : shown) {
    if (static_cast<unsigned char>(character) < ' ' || character == '\x7f') {
      character = '?';
    }
  }
  return shown;
}

// What an archive says of a size may be beyond all sizes, and is below 0 as text then.
std::string sizeText(std::uint64_t size) {
  return *OXHumanReadableFileSize(static_cast<std::int64_t>(size));
}

// Starts a worker and hands on its reports. Returns whether it has done everything, and said so.
bool runWorkerProcess(const std::vector<std::string>& arguments,
                      const std::function<void(const tour::Report&)>& show) {
  tour::WorkerProcess worker(arguments);
  OXCBORSequenceReader reader(worker.output());
  while (const auto item = reader.next()) {
    const auto report = OXCBORDecodeRecord<tour::Report>(*item, OXCBORMode::keyed);
    if (!report) {
      std::cerr << "The worker sent something that is no report.\n";
      return false;
    }
    if (report->failure) {
      std::cerr << printable(report->path().value_or("The archive")) << ": "
                << printable(*report->failure) << '\n';
    } else {
      show(*report);
    }
  }
  return reader.state() == OXCBORSequenceReader::State::ended && worker.endsWell();
}

std::string kindText(OXStringView path) {
  const OXString kind = fileDescription(path);
  return kind && !kind->empty() ? *kind : "file";
}

void showArchive(const tour::Volumes& volumes) {
  std::int64_t size = 0;
  for (const std::string& path : volumes.paths) {
    size += OXGetFileSize(path);
  }
  std::cout << printable(volumes.name) << ": " << kindText(volumes.name) << ", "
            << *OXHumanReadableFileSize(size) << ", volumes: " << volumes.paths.size() << '\n';
}

void showEntry(const tour::Report& entry) {
  std::cout << "  " << printable(entry.path().value_or("(no name)")) << ": "
            << (entry.isFolder() ? "folder" : kindText(entry.path())) << ", "
            << sizeText(entry.actualSize()) << ", "
            << fileDateDescription(entry.modificationTime()).value_or("no date") << '\n';
}

// Returns the size of all files together, or null when the archive cannot be listed to its end.
std::optional<std::uint64_t> listArchive(const tour::Volumes& volumes) {
  std::vector<std::string> arguments{"list"};
  arguments.insert(arguments.end(), volumes.paths.begin(), volumes.paths.end());
  std::uint64_t size = 0;
  const bool isComplete = runWorkerProcess(arguments, [&](const tour::Report& entry) {
    showEntry(entry);
    size += entry.actualSize();
  });
  return isComplete ? std::optional(size) : std::nullopt;
}

// Returns whether everything is there.
bool extractArchive(const tour::Volumes& volumes, const std::string& folder, std::uint64_t size) {
  std::vector<std::string> arguments{"extract", folder};
  arguments.insert(arguments.end(), volumes.paths.begin(), volumes.paths.end());
  return runWorkerProcess(arguments, [&](const tour::Report& progress) {
    std::cout << "  extracted: " << sizeText(progress.written) << " of " << sizeText(size) << '\n';
  });
}

bool moveToTrash(const tour::Volumes& volumes) {
  bool areMoved = true;
  for (const std::string& path : volumes.paths) {
    areMoved = OXMoveFileToTrashSync(path) && areMoved;
  }
  return areMoved;
}

bool open(const std::string& clicked, const std::string& destination) {
  const tour::Volumes volumes = tour::findVolumes(clicked);
  showArchive(volumes);
  const std::optional<std::uint64_t> size = listArchive(volumes);
  if (!size) {
    std::cerr << "The archive could not be read to its end.\n";
    return false;
  }
  const OXString name = stringByDeletingArchiveExtension(volumes.name);
  const OXString folder = OXSafelyCreateArchiveSubdir(name, destination, false);
  if (!folder) {
    std::cerr << "There is no folder for the contents.\n";
    return false;
  }
  if (!extractArchive(volumes, *folder, *size)) {
    std::cerr << "Not all of the archive is in " << printable(*folder) << ".\n";
    return false;
  }
  std::cout << *OXHumanReadableFileSize(OXGetTotalFolderSize(folder)) << " in "
            << printable(*folder) << '\n';
  if (!moveToTrash(volumes)) {
    std::cerr << "The archive could not be moved to the Trash.\n";
    return false;
  }
  std::cout << "The archive is in the Trash.\n";
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  try {
    // Before anything else, so that a worker has neither windows nor threads.
    if (!arguments.empty() && arguments[0] == "--worker") {
      return tour::runWorker({arguments.begin() + 1, arguments.end()});
    }
    if (arguments.size() != 2) {
      std::cerr << "usage: tour VOLUME FOLDER\n";
      return EXIT_FAILURE;
    }
    return open(arguments[0], arguments[1]) ? EXIT_SUCCESS : EXIT_FAILURE;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
