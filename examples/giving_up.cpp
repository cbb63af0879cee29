// SPDX-License-Identifier: MIT

// Long work off the user's thread, which ends early when the user has changed their mind.

#include <OrvexKit/OrvexKit.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <iostream>
#include <latch>
#include <optional>
#include <stop_token>
#include <string_view>
#include <system_error>
#include <thread>

#include "tour/WorkerProcess.h"

namespace {

// The size of a folder, as `OXGetTotalFolderSize` adds it up, in one step for each item in it. Null
// when it was given up in between.
std::optional<std::int64_t> folderSize(const std::filesystem::path& folder,
                                       const std::stop_token& token) {
  std::int64_t size = 0;
  std::error_code error;
  std::filesystem::directory_iterator item(folder, error);
  for (; !error && item != std::filesystem::directory_iterator(); item.increment(error)) {
    if (token.stop_requested()) {
      return std::nullopt;
    }
    const bool isFolder = std::filesystem::is_directory(item->symlink_status(error));
    size += isFolder ? OXGetTotalFolderSize(item->path()) : OXGetFileSize(item->path());
  }
  return size;
}

// Reads a listing until it ends. A reader waits for the next bytes, however long that takes; when
// the worker is killed there are no more, and it returns.
void readListing(const std::stop_token& token, std::latch& firstEntry) {
  tour::WorkerProcess worker({});
  const std::stop_callback giveUp(token, [&worker] { worker.kill(); });
  OXCBORSequenceReader reader(worker.output());
  reader.next();
  firstEntry.count_down();
  while (reader.next()) {
  }
}

// The worker: an archive whose entries never end.
int sendEntries() {
  OXArchivedFile file;
  file.setPath("and on.txt");
  OXCBOREncoder encoder(OXCBORMode::keyed);
  file.encodeWithCoder(encoder);
  OXCBORSequenceWriter writer(STDOUT_FILENO);
  while (writer.write(encoder.item())) {
  }
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "--worker") {
    return sendEntries();
  }
  std::stop_source user;
  std::latch firstEntry(1);
  std::thread work([token = user.get_token(), &firstEntry] {
    std::cout << *OXHumanReadableFileSize(folderSize(".", token).value_or(0)) << '\n';
    readListing(token, firstEntry);
    std::cout << (token.stop_requested() ? "given up" : "listed") << '\n'
              << (folderSize(".", token) ? "measured" : "given up") << '\n';
  });
  firstEntry.wait();
  user.request_stop();  // the window is closed, say
  work.join();
}
