// SPDX-License-Identifier: MIT

// Another process replaces the scratch folder in the temporary folder by something else, at any
// moment. Nothing outside it may be made, moved or removed.

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "OrvexKit/OXFileUtil.h"
#include "support/LogCapture.h"
#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using ox::test::Call;
using ox::test::ObservedSystem;

class ArchiveSubdirSwap : private ox::test::InMemory, public ox::test::TemporaryFolderTest {
 protected:
  // Creates folders elsewhere, with the names that the function tries.
  ArchiveSubdirSwap() {
    for (const char* folder : {"target", "target/n.app.app", "target/n.app", "target/n/inner",
                               "target/notes", "target/empty", "emptytarget"}) {
      fs::create_directories(elsewhere(folder));
    }
    fs::create_directory(destination());
    for (const char* file : {"target/n.app/file", "target/n/inner/file", "target/notes/file"}) {
      ox::test::writeFile(elsewhere(file), "precious");
    }
  }

  void TearDown() override {
    for (const std::string& folder : {elsewhere(), tmp(), destination()}) {
      ox::test::removeTree(folder);
    }
    fs::create_directory(tmp());
    TemporaryFolderTest::TearDown();
  }

  std::string elsewhere(const std::string& name = "") const { return in("elsewhere/" + name); }
  std::string destination() const { return in("destination"); }

  // The path and identity of each item.
  std::map<std::string, ino_t> itemsElsewhere() const {
    std::map<std::string, ino_t> items;
    for (const auto& entry : fs::recursive_directory_iterator(elsewhere())) {
      struct stat status {};
      EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0);
      items.emplace(entry.path(), status.st_ino);
    }
    return items;
  }

  using Swap = std::function<void(const fs::path& scratch)>;

  // Each replaces the scratch folder: by a link to a folder with such names, a link to an empty
  // folder, a file, a folder with such names and a scratch folder's permissions, or nothing.
  std::array<Swap, 5> swaps() const {
    return {[this](const fs::path& scratch) {
              fs::create_directory_symlink(elsewhere("target"), scratch);
            },
            [this](const fs::path& scratch) {
              fs::create_directory_symlink(elsewhere("emptytarget"), scratch);
            },
            [](const fs::path& scratch) { ox::test::writeFile(scratch, "a file"); },
            [](const fs::path& scratch) {
              fs::create_directories(scratch / "n.app" / "inner");
              fs::create_directories(scratch / "n.app.app" / "inner");
              ::chmod(scratch.c_str(), 0700);
            },
            [](const fs::path&) {}};
  }

  // Returns the path of an existing scratch folder, or "".
  std::string scratchFolder() const {
    DIR* const folder = ::opendir(tmp().c_str());
    std::string found;
    while (const dirent* const entry = ::readdir(folder)) {
      const std::string_view name(static_cast<const char*>(entry->d_name));
      if (entry->d_type == DT_DIR && name.starts_with(".orvx.")) {
        found = tmp() + "/" + std::string(name);
      }
    }
    ::closedir(folder);
    return found;
  }

  // Replaces each existing scratch folder.
  void swapAll(const Swap& swap) const {
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator(tmp(), gone)) {
      const std::string name = entry.path().filename();
      if (name.starts_with(".orvx.") && fs::is_directory(entry.symlink_status(gone))) {
        fs::rename(entry.path(), tmp() + "/was" + name, gone);
        if (!gone) {
          swap(entry.path());
        }
      }
    }
  }
};

TEST_F(ArchiveSubdirSwap, BeforeAnyCallTouchesNothingOutside) {
  const std::map<std::string, ino_t> before = itemsElsewhere();
  int swapped = 0;
  for (const char* name : {"notes.zip", "n.app.app.zip", "n.app.app.app.app.zip"}) {
    for (const Swap& swap : swaps()) {
      for (int nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        ObservedSystem system;
        bool isOver = false;
        for (int call = 0; call < static_cast<int>(Call::callCount); ++call) {
          system.before(static_cast<Call>(call), [&] {
            if (!isOver && system.count() >= nth) {
              isOver = true;
              swapAll(swap);
            }
          });
        }
        const OXString path = OXSafelyCreateArchiveSubdir(name, destination(), true);
        EXPECT_EQ(itemsElsewhere(), before);
        // Either the folder is made anyway, or the result is null.
        EXPECT_EQ(path.has_value(), !fs::is_empty(destination()));
        ox::test::removeTree(destination());
        fs::create_directory(destination());
        for (const auto& entry : fs::directory_iterator(tmp())) {
          // The replacement remains: only empty scratch folders are removed.
          fs::remove_all(entry);
        }
        swapped += isOver ? 1 : 0;
        if (!isOver) {
          break;
        }
      }
    }
  }
  EXPECT_GT(swapped, 100);
}

TEST_F(ArchiveSubdirSwap, AtAnyMomentTouchesNothingOutside) {
  const std::map<std::string, ino_t> before = itemsElsewhere();
  static_cast<void>(ox::test::takeLogLines());
  std::atomic<bool> isOver{false};
  int swapped = 0;
  std::thread swapper([&] {
    // In one atomic step, so that it happens as often as possible.
    const std::string bait = tmp() + "/bait";
    const std::string used = tmp() + "/used";
    while (!isOver) {
      fs::create_directory_symlink(elsewhere(swapped % 2 == 0 ? "target" : "emptytarget"), bait);
      bool isSwapped = false;
      while (!isSwapped && !isOver) {
        const std::string scratch = scratchFolder();
        isSwapped = !scratch.empty() && ::renameat2(AT_FDCWD, scratch.c_str(), AT_FDCWD,
                                                    bait.c_str(), RENAME_EXCHANGE) == 0;
        if (isSwapped) {
          ++swapped;
          std::this_thread::yield();
          ::rename(scratch.c_str(), used.c_str());
        }
      }
      ::unlink(used.c_str());
      std::error_code filling;
      while (fs::remove_all(bait, filling), filling) {
      }
    }
  });
  constexpr int rounds = 10'000;
  for (int round = 0; round < rounds; ++round) {
    const OXString path = OXSafelyCreateArchiveSubdir(round % 2 == 0 ? "notes.zip" : "n.app.app",
                                                      destination(), round % 2 == 0);
    if (path) {
      EXPECT_EQ(::rmdir(path->c_str()), 0) << *path;
    }
  }
  isOver = true;
  swapper.join();
  EXPECT_EQ(itemsElsewhere(), before);
  EXPECT_GT(swapped, 0);
  RecordProperty("swapped", swapped);
  static_cast<void>(ox::test::takeLogLines());
}

}  // namespace
