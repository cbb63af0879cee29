// SPDX-License-Identifier: MIT

#include "platform/files/RemoveItem.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox;
using namespace ox::test;
using testing::ElementsAre;
using testing::IsEmpty;

class RemoveItem : public TemporaryFolderTest {
 protected:
  PathBuffer path(const std::string& name) const { return PathBuffer(in(name)); }
};

TEST_F(RemoveItem, RemovesItems) {
  writeFile(in("file"));
  std::filesystem::create_directories(in("d/e/f"));
  std::filesystem::create_symlink("d", in("link"));
  EXPECT_TRUE(files::removeItem(path("link")));
  EXPECT_TRUE(files::removeItem(path("file")));
  EXPECT_TRUE(files::removeItem(path("d")));
  EXPECT_TRUE(files::removeItem(path("missing")));
  EXPECT_FALSE(files::removeItem(path(std::string("a\0b", 3))));
  EXPECT_THAT(listing(work()), IsEmpty());
}

// Each system call of a removal fails in turn: it ends, reports whether all is gone, and never
// changes anything outside the folder.
TEST_F(RemoveItem, EndsRemovalWhateverFails) {
  for (const int error : {EACCES, EBUSY, EIO, EMFILE, ENOENT, ENOMEM, EPERM}) {
    for (int nth = 1;; ++nth) {
      SCOPED_TRACE(std::to_string(error) + " at " + std::to_string(nth));
      writeFile(in("precious"));
      std::filesystem::create_directories(in("d/e/f"));
      std::filesystem::create_symlink(in("precious"), in("d/link"));
      writeFile(in("d/e/file"));
      bool done = false;
      bool hasFailed = false;
      {
        ObservedSystem system;
        system.failNth(nth, error);
        done = files::removeItem(path("d"));
        hasFailed = system.count() >= nth;
      }
      // The one error that must be trusted: the item itself does not exist.
      const bool isToldItIsGone = error == ENOENT;
      EXPECT_TRUE(done == !exists(in("d")) || isToldItIsGone);
      EXPECT_TRUE(exists(in("precious")));
      files::removeItem(path("d"));
      removeOne(in("precious"));
      if (!hasFailed) {
        EXPECT_TRUE(done);
        break;
      }
    }
  }
}

TEST_F(RemoveItem, LeavesWhatCannotBeRemovedAndNothingElse) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  writeFile(in("d/other"));
  {
    ObservedSystem system;
    // Like a file marked as immutable.
    system.before(Call::unlinkat, [&] { system.fail(Call::unlinkat, EPERM); });
    EXPECT_FALSE(files::removeItem(path("d")));
  }
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/e", "d/e/file", "d/other"));
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(RemoveItem, LeavesAFileThatMayNotBeRemoved) {
  writeFile(in("file"));
  ObservedSystem system;
  system.fail(Call::unlinkat, EACCES);
  EXPECT_FALSE(files::removeItem(path("file")));
  EXPECT_TRUE(exists(in("file")));
  // Another process removes it first.
  system.before(Call::unlinkat, [&] { std::filesystem::remove(in("file")); });
  system.fail(Call::unlinkat, ENOENT);
  EXPECT_TRUE(files::removeItem(path("file")));
}

TEST_F(RemoveItem, LeavesAFolderThatMayNeitherBeReadNorChanged) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  for (const bool isRefusedToo : {false, true}) {
    ObservedSystem system;
    // The first call opens the folder above.
    system.before(Call::openat, [&system] {
      if (system.count(Call::openat) == 1) {
        system.fail(Call::openat, EACCES);
      }
    });
    if (isRefusedToo) {
      system.fail(Call::fchmodat2, EPERM);
      system.fail(Call::fchmodat, EPERM);
    }
    EXPECT_FALSE(files::removeItem(path("d")));
    EXPECT_EQ(system.count(Call::fchmodat2), 1);
  }
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/e", "d/e/file"));
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(RemoveItem, RemovesItemsWhoseKindIsNotListed) {
  std::filesystem::create_directories(in("d/e/empty"));
  std::filesystem::create_directory_symlink("e", in("d/link"));
  writeFile(in("d/e/file"));
  ObservedSystem system;
  system.hideEntryTypes();
  EXPECT_TRUE(files::removeItem(path("d")));
  EXPECT_FALSE(exists(in("d")));
}

TEST_F(RemoveItem, EndsRemovalWhereWhatIsListedIsNeverThere) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  writeFile(in("d/other"));
  {
    ObservedSystem system;
    system.before(Call::unlinkat, [&] {
      if (system.count(Call::unlinkat) == 1) {
        system.fail(Call::unlinkat, ENOENT);
      }
    });
    files::removeItem(path("d"));
    EXPECT_LT(system.count(), 20);
  }
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/e", "d/e/file", "d/other"));
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(RemoveItem, CountsWhatVanishesDuringARemovalAsRemoved) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  ObservedSystem system;
  system.before(Call::unlinkat, [&] { std::filesystem::remove_all(in("d/e")); });
  EXPECT_TRUE(files::removeItem(path("d")));
  EXPECT_FALSE(exists(in("d")));
}

TEST_F(RemoveItem, DoesNotFollowALinkThatTakesAFoldersPlace) {
  std::filesystem::create_directories(in("d/e/f"));
  std::filesystem::create_directory(in("elsewhere"));
  writeFile(in("elsewhere/precious"));
  ObservedSystem system;
  bool swapped = false;
  system.before(Call::openat, [&] {
    if (!swapped && exists(in("d/e/f"))) {
      const bool isInside = system.count(Call::openat) > 0;
      if (isInside) {
        swapped = true;
        std::filesystem::remove_all(in("d/e"));
        std::filesystem::create_directory_symlink(in("elsewhere"), in("d/e"));
      }
    }
  });
  files::removeItem(path("d"));
  EXPECT_TRUE(swapped);
  EXPECT_TRUE(exists(in("elsewhere/precious")));
  files::removeItem(path("d"));
  removeOne(in("elsewhere/precious"));
  removeOne(in("elsewhere"));
}

class RemoveDeepItem : public RemoveItem {
 protected:
  RemoveDeepItem() { create(); }

  // Deeper than the levels that are emptied in place.
  void create() const {
    std::string deep = in("d");
    for (int i = 0; i < 40; ++i) {
      deep += "/e";
    }
    std::filesystem::create_directories(deep);
    writeFile(deep + "/file");
  }
};

TEST_F(RemoveDeepItem, IsRemovedWhateverNamesAreTaken) {
  for (const int error : {EEXIST, EACCES}) {
    SCOPED_TRACE(error);
    ObservedSystem system;
    system.fail(Call::renameat2, error, 1);
    EXPECT_TRUE(files::removeItem(path("d")));
    EXPECT_GT(system.count(Call::renameat2), 1);
    create();
  }
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(RemoveDeepItem, StaysWhereItCannotBeMoved) {
  for (const int error : {EXDEV, EACCES, EROFS, EEXIST}) {
    SCOPED_TRACE(error);
    ObservedSystem system;
    system.fail(Call::renameat2, error);
    EXPECT_FALSE(files::removeItem(path("d")));
    EXPECT_TRUE(exists(in("d")));
  }
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(RemoveDeepItem, IsRemovedWhenSignalsInterruptTheCalls) {
  for (const int times : {1, 2, 50}) {
    SCOPED_TRACE(times);
    create();
    std::filesystem::create_directories(in("d/closed/folder"));
    ASSERT_EQ(::chmod(in("d/closed").c_str(), 0), 0);
    ObservedSystem system;
    system.interruptEach(times);
    EXPECT_TRUE(files::removeItem(path("d")));
    EXPECT_THAT(listing(work()), IsEmpty());
  }
}

TEST_F(RemoveDeepItem, MayVanishBeforeItIsMoved) {
  ObservedSystem system;
  system.before(Call::renameat2, [&] { std::filesystem::remove_all(in("d/e")); });
  EXPECT_TRUE(files::removeItem(path("d")));
}

// Nothing is really removed or moved here, and no path leads out of the test's own folder:
// otherwise a faulty removal that accepted one of these as a name would empty what it leads to.
TEST_F(RemoveItem, NeedsAPathThatEndsInAName) {
  std::filesystem::create_directories(in("d/e"));
  {
    ObservedSystem system;
    for (const Call call : {Call::unlinkat, Call::renameat, Call::renameat2}) {
      system.fail(call, EPERM);
    }
    for (const char* name : {"d/", "d/.", "d/e/..", "d/e/../"}) {
      EXPECT_FALSE(files::removeItem(path(name))) << name;
    }
    EXPECT_EQ(system.count(), 0) << "refused before any system call";
  }
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/e"));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(work());
  EXPECT_TRUE(files::removeItem(PathBuffer("d")));
  std::filesystem::current_path(before);
  EXPECT_TRUE(files::removeItem(path("missing/item"))) << "a missing item counts as removed";
}

TEST_F(RemoveItem, ChangesNoPermissionsBehindALink) {
  const auto modeOfElsewhere = [this] {
    struct stat status {};
    EXPECT_EQ(::stat(in("elsewhere").c_str(), &status), 0);
    return status.st_mode & 07777U;
  };
  std::filesystem::create_directory(in("elsewhere"));
  writeFile(in("elsewhere/precious"));
  ASSERT_EQ(::chmod(in("elsewhere").c_str(), 0500), 0);
  // Each way of changing permissions in turn: a link replaces the folder before the call.
  for (const bool isProcHidden : {false, true}) {
    for (const Call call : {Call::fchmodat2, Call::fchmodat}) {
      SCOPED_TRACE(isProcHidden);
      std::filesystem::create_directories(in("d/e/f"));
      ObservedSystem system;
      if (isProcHidden) {
        system.hideProc();
      }
      system.fail(Call::openat, EACCES, 2);  // the folder "e"
      bool isSwapped = false;
      system.before(call, [&] {
        if (!isSwapped) {
          isSwapped = true;
          std::filesystem::remove_all(in("d/e"));
          std::filesystem::create_directory_symlink(in("elsewhere"), in("d/e"));
        }
      });
      if (call == Call::fchmodat) {
        system.fail(Call::fchmodat2, ENOSYS);
      }
      files::removeItem(path("d"));
      EXPECT_TRUE(isSwapped);
      EXPECT_EQ(modeOfElsewhere(), 0500U);
      EXPECT_TRUE(exists(in("elsewhere/precious")));
      removeTree(in("d"));
    }
  }
  ASSERT_EQ(::chmod(in("elsewhere").c_str(), 0700), 0);
  removeTree(in("elsewhere"));
}

// A folder that is refilled as fast as it is emptied.
TEST_F(RemoveItem, GivesUpWhereOthersGoOnFillingTheFolder) {
  std::filesystem::create_directories(in("d/e/f"));
  writeFile(in("d/e/f/file"));
  constexpr int mostCalls = 10'000;  // stops a removal that would never end
  int calls = 0;
  {
    ObservedSystem system;
    system.before(Call::unlinkat, [&] {
      if (++calls < mostCalls && isFolder(in("d/e/f"))) {
        std::ofstream(in("d/e/f/" + std::to_string(calls))).close();
      }
    });
    EXPECT_FALSE(files::removeItem(path("d")));
  }
  EXPECT_LT(calls, mostCalls);
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(RemoveItem, EndsWhileThreadsGoOnFillingTheFolder) {
  std::filesystem::create_directories(in("d/e"));
  std::atomic<bool> isOver{false};
  std::vector<std::thread> writers;
  writers.reserve(4);
  for (int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([this, writer, &isOver] {
      for (int i = 0; !isOver; ++i) {
        const std::string name = std::to_string(writer) + "." + std::to_string(i);
        std::ofstream(in("d/e/" + name)).close();
        ::mkdir(in("d").c_str(), 0700);
        ::mkdir(in("d/e").c_str(), 0700);
      }
    });
  }
  files::removeItem(path("d"));
  isOver = true;
  for (std::thread& writer : writers) {
    writer.join();
  }
  removeTree(in("d"));
}

// Folders without the read, write or search permissions that `mode` omits.
void makeClosedFolders(const std::string& top, mode_t mode) {
  for (const char* folder : {"/e/f/g", "/e/h"}) {
    std::filesystem::create_directories(top + folder);
    writeFile(top + folder + "/file");
  }
  for (const char* folder : {"/e/f/g", "/e/f", "/e/h", "/e", ""}) {
    ASSERT_EQ(::chmod((top + folder).c_str(), mode), 0);
  }
}

constexpr std::array<mode_t, 6> closedModes{0000, 0100, 0200, 0300, 0400, 0500};

TEST_F(RemoveItem, RemovesFoldersOfAnyModeInARootWithoutProc) {
  OX_SKIP_UNLESS_ROOT("only root may change the root");
  for (const uid_t user : {0U, 65534U}) {
    for (const bool isKernelOld : {false, true}) {
      SCOPED_TRACE(user);
      const pid_t child = ::fork();
      if (child == 0) {
        ObservedSystem system;
        if (isKernelOld) {
          system.fail(Call::fchmodat2, ENOSYS);
        }
        // Whatever the umask, others may not exchange what is in the new root.
        bool isDone = ::chmod(work().c_str(), 0755) == 0 &&
                      ::chown(work().c_str(), user, user) == 0 && ::chroot(work().c_str()) == 0 &&
                      ::chdir("/") == 0 && ::setgid(user) == 0 && ::setuid(user) == 0;
        if (!isDone) {
          ::_exit(2);
        }
        for (const mode_t mode : closedModes) {
          makeClosedFolders("/d", mode);
          isDone = isDone && files::removeItem(PathBuffer("/d")) && !exists("/d");
        }
        ::_exit(isDone ? 0 : 1);
      }
      int status = -1;
      EXPECT_EQ(::waitpid(child, &status, 0), child);
      EXPECT_EQ(status, 0);
      EXPECT_THAT(listing(work()), IsEmpty());
    }
  }
}

TEST_F(RemoveItem, RemovesFoldersOfAnyModeWithoutProc) {
  for (const mode_t mode : closedModes) {
    SCOPED_TRACE(mode);
    makeClosedFolders(in("d"), mode);
    ObservedSystem system;
    system.hideProc();
    EXPECT_TRUE(files::removeItem(path("d")));
    EXPECT_FALSE(exists(in("d")));
  }
}

}  // namespace
