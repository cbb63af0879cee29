// SPDX-License-Identifier: MIT

// Moves items to the Trash, makes extraction folders, and fills and removes scratch folders until
// it is killed. Prints a line for each call that has returned.
//
//   kill_worker ITEMS DESTINATION LINKED SEED
//
// ITEMS is the folder with the items to move, DESTINATION gets the extraction folders, and the
// scratch folders hold a link to LINKED.

#include <OrvexKit/OXFileUtil.h>
#include <OrvexKit/OXScopedTempDir.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// One write, so that no line is truncated when the process is killed.
void tell(const std::string& what, const std::string& path = "") {
  const std::string line = what + path + '\n';
  if (::write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    std::_Exit(1);
  }
}

void makeExtractionFolder(const std::string& destination, bool isPackage) {
  const char* const archive = isPackage ? "photos.app.zip" : "photos.zip";
  tell("folder ", OXSafelyCreateArchiveSubdir(archive, destination, true).value_or(""));
}

void fillAndRemoveScratchFolder(const std::string& linked) {
  {
    const OXScopedTempDir scratch;
    const fs::path folder(scratch.path().value());
    fs::create_directory_symlink(linked, folder / "link");
    fs::create_directories(folder / "deep" / "deeper");
    for (const char* const name : {"a", "b", "deep/c", "deep/deeper/d"}) {
      std::ofstream(folder / name) << name;
    }
  }
  tell("scratch");
}

void trash(const std::string& path) {
  tell(OXMoveFileToTrashSync(path) ? "trashed " : "not trashed ", path);
}

std::vector<std::string> itemsIn(const std::string& folder) {
  std::vector<std::string> items;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    items.push_back(entry.path());
  }
  std::ranges::sort(items);
  return items;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) {
    return 2;
  }
  const std::string destination = arguments[2];
  const std::string linked = arguments[3];
  std::mt19937_64 random(std::stoull(arguments[4]));
  std::vector<std::string> items = itemsIn(arguments[1]);
  std::ranges::shuffle(items, random);
  tell("ready");
  for (;;) {
    switch (random() % 4) {
      case 0:
        makeExtractionFolder(destination, random() % 2 == 0);
        break;
      case 1:
        fillAndRemoveScratchFolder(linked);
        break;
      default:
        if (!items.empty()) {
          trash(items.back());
          items.pop_back();
        }
    }
  }
}
