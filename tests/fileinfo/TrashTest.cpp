// SPDX-License-Identifier: MIT

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "fileinfo/TrashFixture.h"
#include "support/ChildProcess.h"
#include "support/Emulator.h"
#include "support/LogCapture.h"
#include "support/Mount.h"
#include "support/ObservedSystem.h"
#include "support/ProcessState.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using ox::test::Call;
using ox::test::exists;
using ox::test::linesOf;
using ox::test::listing;
using ox::test::Mount;
using ox::test::ObservedSystem;
using ox::test::readFile;
using ox::test::removeOne;
using ox::test::writeFile;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Trash : public ox::test::TrashFixture {
 protected:
  static void restore(const std::string& path) {
    // The program asks for a number; there is one item to choose.
    static_cast<void>(ox::test::outputOf(
        {.program = "sh", .arguments = {"-c", "echo 0 | trash-restore \"$1\"", "sh", path}}));
  }

  // This test's items as listed by other programs, which also list the user's Trash on other file
  // systems.
  std::string list() const {
    std::string ours;
    for (const std::string& line : linesOf({.program = "trash-list"})) {
      if (line.find(" " + work() + "/") != std::string::npos) {
        ours += line + "\n";
      }
    }
    return ours;
  }
};

TEST_F(Trash, TakesAFileWithWhereItCameFromAndWhen) {
  writeFile(in("photos.tar.gz"), "contents");
  const std::time_t before = std::time(nullptr);
  EXPECT_TRUE(OXMoveFileToTrashSync(in("photos.tar.gz")));
  const std::time_t after = std::time(nullptr);
  EXPECT_FALSE(exists(in("photos.tar.gz")));
  EXPECT_THAT(items(), ElementsAre("photos.tar.gz"));
  EXPECT_THAT(entries(), ElementsAre("photos.tar.gz.trashinfo"));
  EXPECT_EQ(readFile(trash("files/photos.tar.gz")), "contents");
  const auto entryAt = [this](std::time_t time) {
    std::tm local{};
    ::localtime_r(&time, &local);
    std::array<char, 64> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + in("photos.tar.gz") + "\nDeletionDate=" + date.data() + "\n";
  };
  EXPECT_THAT(readFile(trash("info/photos.tar.gz.trashinfo")),
              AnyOf(entryAt(before), entryAt(after)));
  for (const char* folder : {"", "info", "files"}) {
    struct stat status {};
    ASSERT_EQ(::stat(trash(folder).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U) << folder;
  }
}

TEST_F(Trash, TakesAFolderWithItsContents) {
  fs::create_directories(in("folder/sub"));
  writeFile(in("folder/sub/file"), "contents");
  writeFile(in("folder/other"));
  ASSERT_EQ(::chmod(in("folder/sub").c_str(), 0500), 0);
  EXPECT_TRUE(OXMoveFileToTrashSync(in("folder/")));
  EXPECT_FALSE(exists(in("folder")));
  EXPECT_EQ(listing(trash("files")),
            (Names{"folder", "folder/other", "folder/sub", "folder/sub/file"}));
  EXPECT_EQ(pathIn("folder.trashinfo"), in("folder"));
}

TEST_F(Trash, TakesAFolderThatMayNotBeWrittenAsItIs) {
  fs::create_directory(in("folder"));
  writeFile(in("folder/file"), "contents");
  ASSERT_EQ(::chmod(in("folder").c_str(), 0555), 0);
  EXPECT_TRUE(OXMoveFileToTrashSync(in("folder")));
  struct stat status {};
  ASSERT_EQ(::stat(trash("files/folder").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0555U);
  EXPECT_EQ(readFile(trash("files/folder/file")), "contents");
}

TEST_F(Trash, LeavesAFolderThatMayNotBeWrittenAsItIs) {
  fs::create_directory(in("folder"));
  ASSERT_EQ(::chmod(in("folder").c_str(), 0555), 0);
  for (const bool mayBeChanged : {false, true}) {
    ObservedSystem observed;
    observed.fail(Call::renameat2, EACCES);
    if (!mayBeChanged) {
      observed.fail(Call::fchmodat, EPERM);
      observed.fail(Call::fchmodat2, EPERM);
    }
    EXPECT_FALSE(OXMoveFileToTrashSync(in("folder")));
    EXPECT_EQ(observed.count(Call::renameat2), mayBeChanged ? 2 : 1);
    struct stat status {};
    ASSERT_EQ(::stat(in("folder").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0555U);
    EXPECT_THAT(items(), IsEmpty());
    EXPECT_THAT(entries(), IsEmpty());
  }
}

TEST_F(Trash, ChangesNoPermissionsInVain) {
  writeFile(in("file"), "contents");
  ASSERT_EQ(::chmod(in("file").c_str(), 0444), 0);
  fs::create_directory(in("folder"));
  fs::create_directory(in("closed"));
  ASSERT_EQ(::chmod(in("closed").c_str(), 0555), 0);
  const std::vector<std::pair<std::string, int>> rows = {
      {"file", EACCES}, {"folder", EACCES}, {"closed", EIO}};
  for (const auto& [name, error] : rows) {
    ObservedSystem observed;
    observed.fail(Call::renameat2, error);
    EXPECT_FALSE(OXMoveFileToTrashSync(in(name))) << name;
    EXPECT_EQ(observed.count(Call::fchmodat) + observed.count(Call::fchmodat2), 0) << name;
  }
  EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(Trash, DoesNotTakeWhatMayNotBeMoved) {
  OX_SKIP_AS_ROOT();
  fs::create_directory(in("folder"));
  writeFile(in("folder/file"), "contents");
  fs::create_directory(in("folder/sub"));
  ASSERT_EQ(::chmod(in("folder/sub").c_str(), 0500), 0);
  ASSERT_EQ(::chmod(in("folder").c_str(), 0500), 0);
  EXPECT_FALSE(OXMoveFileToTrashSync(in("folder/file")));
  EXPECT_FALSE(OXMoveFileToTrashSync(in("folder/sub")));
  EXPECT_EQ(listing(in("folder")), (Names{"file", "sub"}));
  struct stat status {};
  ASSERT_EQ(::stat(in("folder/sub").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0500U);
  EXPECT_THAT(items(), IsEmpty());
  EXPECT_THAT(entries(), IsEmpty());
  ASSERT_EQ(::chmod(in("folder").c_str(), 0700), 0);
}

TEST_F(Trash, TakesALinkItself) {
  writeFile(in("file"), "contents");
  fs::create_directory(in("folder"));
  ASSERT_EQ(::symlink("file", in("to-file").c_str()), 0);
  ASSERT_EQ(::symlink("folder", in("to-folder").c_str()), 0);
  ASSERT_EQ(::symlink("missing", in("nowhere").c_str()), 0);
  for (const char* name : {"to-file", "to-folder/", "nowhere"}) {
    EXPECT_TRUE(OXMoveFileToTrashSync(in(name))) << name;
  }
  EXPECT_EQ(listing(work()), (Names{"file", "folder"}));
  EXPECT_THAT(items(), ElementsAre("nowhere", "to-file", "to-folder"));
  EXPECT_EQ(fs::read_symlink(trash("files/to-file")), "file");
  EXPECT_EQ(fs::read_symlink(trash("files/to-folder")), "folder");
}

TEST_F(Trash, FollowsLinksOnTheWayToTheItem) {
  fs::create_directories(in("real/inner"));
  ASSERT_EQ(::symlink("real/inner", in("link").c_str()), 0);
  writeFile(in("real/inner/a"), "a");
  writeFile(in("real/b"), "b");
  writeFile(in("b"), "not this one");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("link/a")));
  EXPECT_TRUE(OXMoveFileToTrashSync(in("link/../b")));
  EXPECT_EQ(pathIn("a.trashinfo"), in("real/inner/a"));
  EXPECT_EQ(pathIn("b.trashinfo"), in("real/b"));
  EXPECT_EQ(readFile(in("b")), "not this one");
}

TEST_F(Trash, TakesRelativePaths) {
  const std::string before = fs::current_path();
  fs::create_directories(in("folder/inner"));
  writeFile(in("file"));
  writeFile(in("folder/file.txt"));
  ASSERT_EQ(::chdir(in("folder").c_str()), 0);
  EXPECT_TRUE(OXMoveFileToTrashSync("../file"));
  EXPECT_TRUE(OXMoveFileToTrashSync("file.txt"));
  EXPECT_TRUE(OXMoveFileToTrashSync("./inner/."));
  ASSERT_EQ(::chdir(before.c_str()), 0);
  EXPECT_EQ(pathIn("file.trashinfo"), in("file"));
  EXPECT_EQ(pathIn("file.txt.trashinfo"), in("folder/file.txt"));
  EXPECT_EQ(pathIn("inner.trashinfo"), in("folder/inner"));
  EXPECT_EQ(listing(work()), Names{"folder"});
}

TEST_F(Trash, KeepsItemsOfTheSameNameApart) {
  for (int i = 1; i <= 3; ++i) {
    fs::create_directory(in(std::to_string(i)));
    writeFile(in(std::to_string(i) + "/x.tar.gz"), std::to_string(i));
    EXPECT_TRUE(OXMoveFileToTrashSync(in(std::to_string(i) + "/x.tar.gz")));
  }
  EXPECT_THAT(items(), ElementsAre("x.tar.2.gz", "x.tar.3.gz", "x.tar.gz"));
  EXPECT_THAT(entries(),
              ElementsAre("x.tar.2.gz.trashinfo", "x.tar.3.gz.trashinfo", "x.tar.gz.trashinfo"));
  EXPECT_EQ(readFile(trash("files/x.tar.2.gz")), "2");
  EXPECT_EQ(pathIn("x.tar.3.gz.trashinfo"), in("3/x.tar.gz"));
}

TEST_F(Trash, KeepsItemsApartThatSeveralThreadsMove) {
  constexpr int threadCount = 4;
  constexpr int itemCount = 40;
  std::vector<std::thread> threads;
  threads.reserve(threadCount);
  for (int thread = 0; thread < threadCount; ++thread) {
    const std::string folder = in(std::to_string(thread));
    fs::create_directory(folder);
    threads.emplace_back([folder] {
      for (int i = 0; i < itemCount; ++i) {
        writeFile(folder + "/same.txt", folder);
        EXPECT_TRUE(OXMoveFileToTrashSync(folder + "/same.txt"));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(items().size(), std::size_t{threadCount} * itemCount);
  EXPECT_EQ(entries().size(), items().size());
  for (const std::string& item : items()) {
    EXPECT_EQ(pathIn(item + ".trashinfo"), readFile(trash("files/" + item)) + "/same.txt");
  }
}

TEST_F(Trash, WritesOverNothingThatLiesThereWithoutAnEntry) {
  fs::create_directories(trash("files"));
  writeFile(trash("files/x"), "orphan");
  fs::create_directory(trash("files/empty"));
  writeFile(in("x"), "new");
  fs::create_directory(in("empty"));
  EXPECT_TRUE(OXMoveFileToTrashSync(in("x")));
  EXPECT_TRUE(OXMoveFileToTrashSync(in("empty")));
  EXPECT_EQ(readFile(trash("files/x")), "orphan");
  EXPECT_EQ(readFile(trash("files/x.2")), "new");
  EXPECT_THAT(items(), ElementsAre("empty", "empty.2", "x", "x.2"));
  EXPECT_THAT(entries(), ElementsAre("empty.2.trashinfo", "x.2.trashinfo"));
}

TEST_F(Trash, TakesNamesOfEveryLength) {
  std::string umlauts;
  while (umlauts.size() < 250) {
    umlauts += "\xc3\xa4";
  }
  const std::vector<std::pair<std::string, std::string>> rows = {
      {std::string(245, 'a'), std::string(245, 'a')},
      {std::string(246, 'b'), std::string(245, 'b')},
      {std::string(255, 'c'), std::string(245, 'c')},
      {std::string(251, 'd') + ".zip", std::string(241, 'd') + ".zip"},
      {"e." + std::string(253, 'e'), "e." + std::string(243, 'e')},
      // An extension that leaves room for exactly one byte before it, and one that leaves none.
      {"fg." + std::string(243, 'f'), "f." + std::string(243, 'f')},
      {"g." + std::string(244, 'g'), "g." + std::string(243, 'g')},
      {umlauts, umlauts.substr(0, 244)},  // not within a character
      {std::string(255, '\x80'), std::string(245, '\x80')},
  };
  for (const auto& [name, inTrash] : rows) {
    SCOPED_TRACE(name);
    writeFile(in(name), "contents");
    EXPECT_TRUE(OXMoveFileToTrashSync(in(name)));
    EXPECT_FALSE(exists(in(name)));
    EXPECT_TRUE(exists(trash("files/" + inTrash)));
    EXPECT_TRUE(exists(trash("info/" + inTrash + ".trashinfo")));
  }
  writeFile(in(std::string(251, 'd') + ".zip"), "again");
  EXPECT_TRUE(OXMoveFileToTrashSync(in(std::string(251, 'd') + ".zip")));
  EXPECT_EQ(readFile(trash("files/" + std::string(239, 'd') + ".2.zip")), "again");
  EXPECT_EQ(pathIn(std::string(239, 'd') + ".2.zip.trashinfo"), in(std::string(251, 'd') + ".zip"));
}

TEST_F(Trash, CutsNamesFurtherWhereTheFileSystemTakesNoLongerOnes) {
  const std::string name = std::string(200, 'a') + ".zip";
  writeFile(in(name), "contents");
  // The entry is created by the last `openat`.
  int entry = 0;
  {
    writeFile(in("dry run"));
    const ObservedSystem observed;
    ASSERT_TRUE(OXMoveFileToTrashSync(in("dry run")));
    entry = observed.count(Call::openat);
    ox::test::removeTree(trash());
  }
  {
    ObservedSystem observed;
    observed.fail(Call::openat, ENAMETOOLONG, entry);
    EXPECT_TRUE(OXMoveFileToTrashSync(in(name)));
    EXPECT_THAT(items(), ElementsAre(std::string(118, 'a') + ".zip"));
    EXPECT_EQ(pathIn(std::string(118, 'a') + ".zip.trashinfo"), in(name));
    ox::test::removeTree(trash());
  }

  // Gives up if every name is too long, however short.
  writeFile(in(name), "contents");
  ObservedSystem observed;
  observed.before(Call::openat, [&, calls = 0]() mutable {
    if (++calls == entry) {
      observed.fail(Call::openat, ENAMETOOLONG);
    }
  });
  EXPECT_FALSE(OXMoveFileToTrashSync(in(name)));
  EXPECT_TRUE(exists(in(name)));
}

TEST_F(Trash, EscapesWhatIsNoPlainText) {
  writeFile(in("\xff \n%#?;=&+,\xc3\xa4"));
  writeFile(in("A-z_0.9!~*'()"));
  EXPECT_TRUE(OXMoveFileToTrashSync(in("\xff \n%#?;=&+,\xc3\xa4")));
  EXPECT_TRUE(OXMoveFileToTrashSync(in("A-z_0.9!~*'()")));
  EXPECT_EQ(pathIn("\xff \n%#?;=&+,\xc3\xa4.trashinfo"),
            in("%FF%20%0A%25%23%3F%3B%3D%26%2B%2C%C3%A4"));
  EXPECT_EQ(pathIn("A-z_0.9!~*'().trashinfo"), in("A-z_0.9!~*'()"));
}

TEST_F(Trash, IsListedAndRestoredByOtherPrograms) {
  if (ox::test::run({.program = "trash-list", .arguments = {"--version"}}).exitCode != 0) {
    GTEST_SKIP() << "trash-cli is not installed";
  }
  const std::string longName(255, 'n');
  const Names names = {
      "plain.zip", "with spaces & \"quotes\" %41", "\xc3\xa4\xe2\x82\xac", "-dash", "...",
      longName};
  for (const std::string& name : names) {
    writeFile(in(name), "contents of " + name);
    ASSERT_TRUE(OXMoveFileToTrashSync(in(name)));
  }
  fs::create_directories(in("folder/sub"));
  writeFile(in("folder/sub/file"), "in the folder");
  ASSERT_EQ(::chmod(in("folder/sub").c_str(), 0500), 0);
  ASSERT_TRUE(OXMoveFileToTrashSync(in("folder")));
  EXPECT_EQ(listing(work()), Names{});

  const std::string listed = list();
  for (const std::string& name : names) {
    EXPECT_THAT(listed, HasSubstr(" " + in(name) + "\n"));
    restore(in(name));
    EXPECT_EQ(readFile(in(name)), "contents of " + name);
  }
  restore(in("folder"));
  EXPECT_EQ(readFile(in("folder/sub/file")), "in the folder");
  EXPECT_EQ(list(), "");
  EXPECT_THAT(items(), IsEmpty());
  EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(Trash, IsNotTouchedForWhatIsNoItem) {
  static_cast<void>(ox::test::takeLogLines());
  writeFile(in("file"));
  ObservedSystem observed;
  const Names paths = {"",
                       in("missing"),
                       in("file/x"),
                       in("file") + std::string("\0", 1),
                       std::string(5000, 'n'),
                       "/",
                       "//",
                       "/.",
                       "/.."};
  for (const std::string& path : paths) {
    EXPECT_FALSE(OXMoveFileToTrashSync(path)) << path;
  }
  EXPECT_FALSE(OXMoveFileToTrashSync(std::nullopt));
  EXPECT_FALSE(exists(trash()));
  EXPECT_EQ(listing(work()), Names{"file"});
  EXPECT_TRUE(ox::test::takeLogLines().empty());
}

TEST_F(Trash, DoesNotTakeAnotherItemThatTookThePlace) {
  writeFile(in("file"), "the item");
  ObservedSystem observed;
  observed.before(Call::fsync, [this] {
    if (exists(in("moved"))) {
      return;
    }
    ASSERT_EQ(::rename(in("file").c_str(), in("moved").c_str()), 0);
    writeFile(in("file"), "another item");
  });
  EXPECT_FALSE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(in("file")), "another item");
  EXPECT_EQ(readFile(in("moved")), "the item");
  EXPECT_THAT(items(), IsEmpty());
  EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(Trash, MovesWhereTheFileSystemCannotLookAndRenameAtOnce) {
  for (const int error : {EINVAL, ENOSYS}) {
    fs::create_directories(trash("files"));
    writeFile(trash("files/file"), "orphan");
    writeFile(in("file"), "contents");
    ObservedSystem observed;
    observed.fail(Call::renameat2, error);
    EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
    EXPECT_EQ(readFile(trash("files/file")), "orphan");
    EXPECT_EQ(readFile(trash("files/file.2")), "contents");
    EXPECT_THAT(entries(), ElementsAre("file.2.trashinfo"));
    fs::remove_all(trash());
  }
}

TEST_F(Trash, LeavesTheItemWhereTheFileSystemCanDoNeither) {
  writeFile(in("file"), "contents");
  ObservedSystem observed;
  observed.fail(Call::renameat2, EINVAL);
  observed.fail(Call::fstatat, EIO, 2);
  EXPECT_FALSE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(in("file")), "contents");
  EXPECT_THAT(items(), IsEmpty());
  EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(Trash, MovesAllOrNothingWhicheverCallFails) {
  const std::size_t descriptors = ox::test::openDescriptorCount();
  int failures = 0;
  for (const bool isMade : {false, true}) {
    for (const int error : {EACCES, ENOSPC, EMFILE, ENOMEM, EINTR, EIO, EXDEV, EROFS}) {
      int nth = 0;
      bool wasReached = true;
      while (wasReached) {
        ++nth;
        SCOPED_TRACE(std::to_string(nth) + ": " + std::strerror(error));
        fs::remove_all(trash());
        if (isMade) {
          fs::create_directories(trash("info"));
          fs::create_directories(trash("files"));
        }
        writeFile(in("file"), "contents");
        ObservedSystem observed;
        observed.failNth(nth, error);
        const bool answer = OXMoveFileToTrashSync(in("file"));
        expectAllOrNothing(answer, in("file"), items(), entries());
        EXPECT_TRUE(!answer || pathIn("file.trashinfo") == in("file"));
        failures += answer ? 0 : 1;
        wasReached = nth <= observed.count();
      }
    }
  }
  EXPECT_GT(failures, 100);
  EXPECT_EQ(ox::test::openDescriptorCount(), descriptors);
}

TEST_F(Trash, NeedsNoThreadAndNoDaemon) {
  writeFile(in("file"), "contents");
  // The second path makes GIO look up the mount.
  EXPECT_EQ(linesOf({.program = OX_PROBE,
                     .arguments = {"threads", "trash:" + in("file"), "trash:/proc/self/status",
                                   "threads", "sockets"}}),
            (Names{ox::test::ownThreads, "1", "0", ox::test::ownThreads, "0"}));
  writeFile(in("file"), "contents");
  const std::size_t threads = ox::test::threadCount();
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(ox::test::threadCount(), threads);
}

TEST_F(Trash, SaysTheLocalTimeInTheEntry) {
  // By TZ, east and west of Greenwich.
  const std::vector<std::pair<std::string, int>> rows = {{"XYZ-5:30", 19800}, {"XYZ+7", -25200}};
  for (const auto& [zone, offset] : rows) {
    writeFile(in("file"));
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(linesOf({.program = OX_PROBE,
                       .arguments = {"trash:" + in("file")},
                       .environment = {{"TZ", zone}}}),
              Names{"1"});
    const std::time_t after = std::time(nullptr);
    std::vector<std::string> dates;
    for (std::time_t time = before; time <= after; ++time) {
      const std::time_t shifted = time + offset;
      std::tm there{};
      ::gmtime_r(&shifted, &there);
      std::array<char, 64> date{};
      std::strftime(date.data(), date.size(), "DeletionDate=%Y-%m-%dT%H:%M:%S\n", &there);
      dates.emplace_back(date.data());
    }
    const std::string entry = readFile(trash("info/file.trashinfo"));
    EXPECT_THAT(dates, testing::Contains(entry.substr(entry.find("DeletionDate=")))) << zone;
    ox::test::removeTree(trash());
  }
}

TEST_F(Trash, TakesWhatAPathLeadsToThatEndsInDotsOrSlashes) {
  const std::string before = fs::current_path();
  fs::create_directories(in("parent/current"));
  fs::create_directories(in("whole/part"));
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file//")));
  ASSERT_EQ(::chdir(in("parent/current").c_str()), 0);
  EXPECT_TRUE(OXMoveFileToTrashSync("."));
  ASSERT_EQ(::chdir(in("whole/part").c_str()), 0);
  EXPECT_TRUE(OXMoveFileToTrashSync(".."));
  ASSERT_EQ(::chdir(before.c_str()), 0);
  EXPECT_EQ(readFile(trash("files/file")), "contents");
  EXPECT_EQ(listing(work()), Names{"parent"});
  EXPECT_EQ(listing(trash("files")), (Names{"current", "file", "whole", "whole/part"}));
  EXPECT_EQ(pathIn("current.trashinfo"), in("parent/current"));
  EXPECT_EQ(pathIn("whole.trashinfo"), in("whole"));
}

TEST_F(Trash, HasTheEntryOnTheDiskBeforeTheItem) {
  writeFile(in("file"), "contents");
  {
    ObservedSystem observed;
    Names synced;
    observed.before(Call::renameat2, [&] { synced = observed.syncedPaths(); });
    EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
    EXPECT_THAT(synced, ElementsAre(trash("info/file.trashinfo"), trash("info")));
  }
  const std::vector<std::pair<int, int>> failures = {{1, EIO}, {1, EINVAL}, {2, EIO}, {2, ENOSPC}};
  for (const auto& [nth, error] : failures) {
    ox::test::removeTree(trash());
    writeFile(in("file"), "contents");
    ObservedSystem observed;
    observed.fail(Call::fsync, error, nth);
    EXPECT_FALSE(OXMoveFileToTrashSync(in("file"))) << nth;
    expectAllOrNothing(false, in("file"), items(), entries());
  }
  // Some file systems cannot sync folders.
  ObservedSystem observed;
  observed.fail(Call::fsync, EINVAL, 2);
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
}

TEST_F(Trash, IsNotMadeForARefusedMove) {
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", in("new/data"));
  writeFile(in("file"), "contents");
  for (const int error : {EPERM, EBUSY, EACCES, EIO}) {
    ObservedSystem observed;
    observed.fail(Call::renameat2, error);
    EXPECT_FALSE(OXMoveFileToTrashSync(in("file")));
    EXPECT_EQ(listing(work()), Names{"file"}) << std::strerror(error);
  }
  // Existing folders remain, even if empty.
  const std::vector<Names> rows = {
      {"new", "new/data"},
      {"new", "new/data", "new/data/Trash", "new/data/Trash/files"},
      {"new", "new/data", "new/data/Trash", "new/data/Trash/files", "new/data/Trash/info"}};
  for (const Names& before : rows) {
    for (const std::string& folder : before) {
      fs::create_directory(in(folder));
    }
    ObservedSystem observed;
    observed.fail(Call::renameat2, EPERM);
    EXPECT_FALSE(OXMoveFileToTrashSync(in("file")));
    Names after = listing(work());
    std::erase(after, "file");
    EXPECT_EQ(after, before);
  }
}

TEST_F(Trash, IsNotMadeForWhatMayNotBeMoved) {
  OX_SKIP_AS_ROOT();
  fs::create_directory(in("folder"));
  writeFile(in("folder/file"), "contents");
  ASSERT_EQ(::chmod(in("folder").c_str(), 0500), 0);
  EXPECT_FALSE(OXMoveFileToTrashSync(in("folder/file")));
  EXPECT_FALSE(exists(trash()));
}

TEST_F(Trash, TakesAnItemWhileRefusedMovesRemoveWhatTheyMade) {
  // Another process removes the empty folders before each call in turn.
  for (const Call call : {Call::mkdirat, Call::openat, Call::fstat}) {
    bool wasReached = true;
    for (int nth = 1; wasReached; ++nth) {
      SCOPED_TRACE(std::to_string(static_cast<int>(call)) + ": " + std::to_string(nth));
      writeFile(in("file"), "contents");
      ObservedSystem observed;
      observed.before(call, [&, calls = 0]() mutable {
        if (++calls == nth) {
          for (const char* name : {"files", "info", ""}) {
            ::rmdir(trash(name).c_str());
          }
        }
      });
      EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
      expectAllOrNothing(true, in("file"), items(), entries());
      wasReached = nth <= observed.count(call);
      ox::test::removeTree(trash());
    }
  }
}

TEST_F(Trash, ChangesPermissionsOfTheItemAlone) {
  fs::create_directory(in("other"));
  ASSERT_EQ(::chmod(in("other").c_str(), 0555), 0);
  fs::create_directory(in("folder"));
  ASSERT_EQ(::chmod(in("folder").c_str(), 0555), 0);
  ObservedSystem observed;
  observed.fail(Call::renameat2, EACCES, 1);
  // A link replaces the folder before its permissions are changed.
  const auto swap = [this] {
    if (!exists(in("away"))) {
      ASSERT_EQ(::rename(in("folder").c_str(), in("away").c_str()), 0);
      ASSERT_EQ(::symlink("other", in("folder").c_str()), 0);
    }
  };
  observed.before(Call::fchmodat2, swap);
  observed.before(Call::fchmodat, swap);
  EXPECT_FALSE(OXMoveFileToTrashSync(in("folder")));
  EXPECT_EQ(observed.count(Call::renameat2), 1);
  EXPECT_EQ(permissionsOf(in("other")), 0555U);
  EXPECT_TRUE(fs::is_symlink(in("folder")));
}

TEST_F(Trash, TakesAFolderOfAnyPermissionsWithoutProc) {
  for (const mode_t mode : {0000U, 0100U, 0400U, 0500U, 0300U, 0700U}) {
    fs::create_directory(in("folder"));
    ASSERT_EQ(::chmod(in("folder").c_str(), mode), 0);
    ObservedSystem observed;
    observed.hideProc();
    if (ox::test::isRoot() && (mode & S_IWUSR) == 0) {
      observed.fail(Call::renameat2, EACCES, 1);  // permissions do not restrict root
    }
    EXPECT_TRUE(OXMoveFileToTrashSync(in("folder"))) << std::oct << mode;
    EXPECT_EQ(permissionsOf(trash("files/folder")), mode);
    ASSERT_EQ(::chmod(trash("files/folder").c_str(), 0700), 0);
    ox::test::removeTree(trash());
  }
}

TEST_F(Trash, TakesAFolderOfAnyPermissionsWhereNoProcIsMounted) {
  OX_SKIP_UNLESS_ROOT("only root may mount something over /proc");
  if (!openToAll()) {
    GTEST_SKIP() << "only root may enter the folder of temporary files";
  }
  fs::create_directories(in("own/data"));
  ASSERT_EQ(::chown(in("own").c_str(), 65534, 65534), 0);
  // Before Linux 6.6, which has fchmodat2, a name's permissions are only changed where others
  // cannot replace it.
  const bool isAnywhere = ::syscall(452, -1, "", 0, 0) != 0 && errno != ENOSYS;
  const std::string parent = in(isAnywhere ? "" : "own/");
  Names steps = {"user:65534"};
  const std::vector<mode_t> modes = {0000, 0100, 0400, 0500};
  for (const mode_t mode : modes) {
    const std::string folder = parent + "folder " + std::to_string(mode);
    fs::create_directory(folder);
    ASSERT_EQ(::chmod(folder.c_str(), mode), 0);
    ASSERT_EQ(::chown(folder.c_str(), 65534, 65534), 0);
    steps.push_back("trash:" + folder);
  }
  ASSERT_EQ(::chown(in("own/data").c_str(), 65534, 65534), 0);
  Names arguments = {"--mount", "sh", "-c", "mount -t tmpfs none /proc && exec \"$0\" \"$@\"",
                     OX_PROBE};
  arguments.insert(arguments.end(), steps.begin(), steps.end());
  // Without /proc the sanitizer cannot check for leaks.
  const ox::test::ChildResult result = ox::test::run(
      {.program = "unshare",
       .arguments = arguments,
       .environment = {{"XDG_DATA_HOME", in("own/data")}, {"ASAN_OPTIONS", "detect_leaks=0"}}});
  if (result.output.empty()) {
    GTEST_SKIP() << "nothing can be mounted here";
  }
  EXPECT_EQ(result.output, "1\n1\n1\n1\n");
  for (const mode_t mode : modes) {
    EXPECT_EQ(permissionsOf(in("own/data/Trash/files/folder " + std::to_string(mode))), mode);
  }
}

TEST_F(Trash, IsNotStoppedBySignals) {
  writeFile(in("file"), "contents");
  fs::create_directory(in("folder"));
  ASSERT_EQ(::chmod(in("folder").c_str(), 0500), 0);
  ObservedSystem observed;
  observed.interruptEach(3);
  observed.fail(Call::renameat2, EACCES, 2);
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_TRUE(OXMoveFileToTrashSync(in("folder")));
  EXPECT_THAT(items(), ElementsAre("file", "folder"));
  EXPECT_EQ(permissionsOf(trash("files/folder")), 0500U);
}

// Two file systems may use the same inode numbers.
TEST_F(Trash, DoesNotTakeAnItemOfTheSameNumberOnAnotherDevice) {
  OX_SKIP_UNLESS_ROOT("only root may mount a disk");
  for (const char* name : {"one", "two"}) {
    fs::create_directory(in(name));
  }
  {
    const Mount one = Mount::inMemory(in("one"), "64k");
    const Mount two = Mount::inMemory(in("two"), "64k");
    if (!one || !two) {
      GTEST_SKIP() << "nothing can be mounted here";
    }
    for (const char* name : {"one/file", "two/file"}) {
      writeFile(in(name), name);
    }
    struct stat first {};
    struct stat second {};
    ASSERT_EQ(::stat(in("one/file").c_str(), &first), 0);
    ASSERT_EQ(::stat(in("two/file").c_str(), &second), 0);
    if (first.st_ino != second.st_ino) {
      GTEST_SKIP() << "the two items have different inode numbers here";
    }
    const ox::test::ScopedEnvironment data("XDG_DATA_HOME", in("two/data"));
    fs::create_directory_symlink("one", in("link"));
    ObservedSystem observed;
    // Between the query of the item and that of its folder.
    observed.before(Call::realpath, [this] {
      removeOne(in("link"));
      fs::create_directory_symlink("two", in("link"));
    });
    EXPECT_FALSE(OXMoveFileToTrashSync(in("link/file")));
    EXPECT_EQ(readFile(in("one/file")), "one/file");
    EXPECT_EQ(readFile(in("two/file")), "two/file");
  }
}

TEST_F(Trash, IsTheOneInThePasswordDatabasesHomeWithoutAnyInTheEnvironment) {
  OX_SKIP_UNLESS_ROOT("only root may mount another password database");
  if (!openToAll()) {
    GTEST_SKIP() << "only root may enter the folder of temporary files";
  }
  fs::create_directory(in("home"));
  ASSERT_EQ(::chown(in("home").c_str(), 54321, 54321), 0);
  fs::create_directory(in("open"));
  ASSERT_EQ(::chmod(in("open").c_str(), 0777), 0);
  writeFile(in("open/file"), "contents");
  writeFile(in("passwd"), "someone:x:54321:54321::" + in("home") + ":/bin/sh\n");
  const ox::test::ChildResult result = ox::test::run(
      {.program = "unshare",
       .arguments = {"--mount", "sh", "-c", "mount --bind \"$0\" /etc/passwd && exec \"$@\"",
                     in("passwd"), OX_PROBE, "user:54321", "trash:" + in("open/file")},
       .environment = {{"XDG_DATA_HOME", std::nullopt}, {"HOME", std::nullopt}}});
  if (result.output.empty()) {
    GTEST_SKIP() << "nothing can be mounted here";
  }
  EXPECT_EQ(result.output, "1\n");
  EXPECT_EQ(readFile(in("home/.local/share/Trash/files/file")), "contents");
}

}  // namespace
