// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "fileinfo/TrashFixture.h"
#include "support/ChildProcess.h"
#include "support/Mount.h"
#include "support/ObservedSystem.h"
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
using ox::test::removeTree;
using ox::test::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Which Trash an item moves to, and which items cannot be moved.
class TrashPlace : public ox::test::TrashFixture {
 protected:
  static dev_t deviceOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_dev;
  }
};

TEST_F(TrashPlace, IsTheUsersAccordingToTheEnvironment) {
  const ox::test::ScopedEnvironment none("XDG_DATA_HOME", std::nullopt);
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(home() + "/.local/share/Trash/files/file"), "contents");
  fs::remove_all(home() + "/.local");
}

TEST_F(TrashPlace, MayLieElsewhereOnTheSameFileSystem) {
  fs::create_directory(in("elsewhere"));
  fs::create_directory_symlink(in("elsewhere"), trash());
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(in("elsewhere/files/file")), "contents");
}

TEST_F(TrashPlace, DoesNotTakeItselfApart) {
  writeFile(in("file"), "contents");
  ASSERT_TRUE(OXMoveFileToTrashSync(in("file")));
  fs::create_directories(in("folder/sub"));
  writeFile(in("folder/sub/inner"), "contents");
  ASSERT_TRUE(OXMoveFileToTrashSync(in("folder")));
  const Names before = listing(trash());
  const Names paths = {trash("files/file"),
                       trash("files/folder/sub"),
                       trash("files/folder/sub/inner"),
                       trash("info/file.trashinfo"),
                       trash("files"),
                       trash("info"),
                       trash(),
                       trash("..")};
  for (const std::string& path : paths) {
    EXPECT_FALSE(OXMoveFileToTrashSync(path)) << path;
    EXPECT_EQ(listing(trash()), before) << path;
  }
}

TEST_F(TrashPlace, DoesNotTakeWhatMayLieInIt) {
  writeFile(in("file"), "contents");
  for (int nth = 1; nth <= 4; ++nth) {
    ObservedSystem observed;
    observed.fail(Call::fstat, EIO, nth);  // one of the folders cannot be identified
    EXPECT_FALSE(OXMoveFileToTrashSync(in("file"))) << nth;
  }
  EXPECT_THAT(items(), IsEmpty());
  EXPECT_EQ(readFile(in("file")), "contents");
}

TEST_F(TrashPlace, LeavesTheItemWhereTheTrashCannotBeMade) {
  writeFile(trash(), "no folder");
  writeFile(in("file"), "contents");
  EXPECT_FALSE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(in("file")), "contents");
  removeOne(trash());
  for (const char* part : {"info", "files"}) {
    fs::create_directory(trash());
    writeFile(trash(part), "no folder");
    EXPECT_FALSE(OXMoveFileToTrashSync(in("file"))) << part;
    EXPECT_EQ(readFile(in("file")), "contents");
    fs::remove_all(trash());
  }
}

TEST_F(TrashPlace, LeavesTheItemWhereTheTrashMayNotBeWritten) {
  OX_SKIP_AS_ROOT();
  writeFile(in("file"), "contents");
  for (const char* part : {"info", "files"}) {
    fs::create_directories(trash("info"));
    fs::create_directories(trash("files"));
    ASSERT_EQ(::chmod(trash(part).c_str(), 0500), 0);
    EXPECT_FALSE(OXMoveFileToTrashSync(in("file"))) << part;
    EXPECT_EQ(readFile(in("file")), "contents");
    EXPECT_THAT(entries(), IsEmpty());
    EXPECT_THAT(items(), IsEmpty());
    ASSERT_EQ(::chmod(trash(part).c_str(), 0700), 0);
  }
}

TEST_F(TrashPlace, IsNoneOfAUserWithoutAHome) {
  OX_SKIP_UNLESS_ROOT("only root can become a user without an entry in the password database");
  fs::create_directory(in("open"));
  if (!openToAll()) {
    GTEST_SKIP() << "only root may enter the folder of temporary files";
  }
  ASSERT_EQ(::chmod(in("open").c_str(), 0777), 0);
  writeFile(in("open/file"), "contents");
  const auto moveWith = [&](const OXString& dataHome) {
    return linesOf({.program = OX_PROBE,
                    .arguments = {"user:54321", "trash:" + in("open/file")},
                    .environment = {{"XDG_DATA_HOME", dataHome}, {"HOME", std::nullopt}}});
  };
  EXPECT_EQ(moveWith(std::nullopt), Names{"0"});
  EXPECT_EQ(listing(in("open")), Names{"file"});
  EXPECT_EQ(moveWith(in("open/data")), Names{"1"});
  EXPECT_EQ(readFile(in("open/data/Trash/files/file")), "contents");
}

// Fills the disk.
void fill(const std::string& path) {
  std::ofstream file(path);
  while (file.write("01234567", 8).flush()) {
  }
}

TEST_F(TrashPlace, LeavesTheItemOnAFullDisk) {
  OX_SKIP_UNLESS_ROOT("only root may mount a disk to fill");
  const std::string disk = in("disk");
  fs::create_directory(disk);
  {
    const auto mount = ox::test::Mount::inMemory(disk, "64k");
    if (!mount) {
      GTEST_SKIP() << "nothing can be mounted here";
    }
    const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/data");
    fs::create_directories(trash("info"));
    fs::create_directories(trash("files"));
    writeFile(disk + "/file", "contents");
    fill(disk + "/fill");
    EXPECT_FALSE(OXMoveFileToTrashSync(disk + "/file"));
    EXPECT_EQ(readFile(disk + "/file"), "contents");
    EXPECT_THAT(entries(), IsEmpty());
    EXPECT_THAT(items(), IsEmpty());
    removeOne(disk + "/fill");
    EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/file"));
    EXPECT_THAT(items(), ElementsAre("file"));
  }
}

TEST_F(TrashPlace, LeavesTheItemOnAFileSystemWithoutATrash) {
  std::string folder = "/dev/shm/orvexkit-test.XXXXXX";
  if (deviceOf("/dev/shm") == deviceOf(work()) || ::mkdtemp(folder.data()) == nullptr) {
    GTEST_SKIP() << "there is no other file system";
  }
  writeFile(folder + "/file", "contents");
  EXPECT_FALSE(OXMoveFileToTrashSync(folder + "/file"));
  EXPECT_EQ(readFile(folder + "/file"), "contents");
  EXPECT_FALSE(OXMoveFileToTrashSync("/proc/self/status"));
  EXPECT_FALSE(exists(trash())) << "the user's Trash is on another file system";
  fs::remove_all(folder);
}

TEST_F(TrashPlace, IsNotFoundOnOtherDisksWithoutGio) {
  writeFile(in("file"), "contents");
  EXPECT_EQ(
      linesOf({.program = OX_INNER_PROBE,
               .arguments = {"fail-dlopen:on", "trash:/proc/self/status", "trash:" + in("file")}}),
      (Names{"0", "1"}));
}

// A file system mounted at `disk`, and the path of the user's Trash there, which does not exist
// yet.
class TrashOnADisk : public TrashPlace {
 protected:
  void SetUp() override {
    OX_SKIP_UNLESS_ROOT("only root may mount a disk");
    if (work().starts_with("/dev/")) {
      GTEST_SKIP() << "a mount there counts as one of the system's own";
    }
    fs::create_directory(disk);
    mount_.emplace(Mount::onDisk(disk, in("image")));
    if (!*mount_) {
      GTEST_SKIP() << "no disk can be mounted here";
    }
  }

  void TearDown() override {
    mount_.reset();
    TrashPlace::TearDown();
  }

  const std::string disk = in("disk");
  const std::string own = disk + "/.Trash-0";
  const std::string shared = disk + "/.Trash/0";

  // Makes the shared Trash.
  void makeShared() const {
    ASSERT_EQ(::mkdir((disk + "/.Trash").c_str(), 0777), 0);
    ASSERT_EQ(::chmod((disk + "/.Trash").c_str(), 01777), 0);
  }

 private:
  std::optional<Mount> mount_;
};

TEST_F(TrashOnADisk, IsAtItsTop) {
  fs::create_directories(disk + "/folder/sub");
  const auto moves = [&](const std::string& name, const std::string& into) {
    writeFile(disk + "/folder/sub/" + name, "contents");
    EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/folder/sub/" + name)) << name;
    EXPECT_FALSE(exists(disk + "/folder/sub/" + name));
    EXPECT_EQ(readFile(into + "/files/" + name), "contents");
    EXPECT_THAT(readFile(into + "/info/" + name + ".trashinfo"),
                HasSubstr("\nPath=folder/sub/" + name + "\n"));
  };
  moves("first", own);
  EXPECT_FALSE(OXMoveFileToTrashSync(disk)) << "a disk cannot go to its own Trash";
  EXPECT_FALSE(OXMoveFileToTrashSync(own));
  EXPECT_FALSE(exists(trash()));

  // A shared Trash is used if it has the sticky bit and is not a link.
  ASSERT_EQ(::mkdir((disk + "/.Trash").c_str(), 0777), 0);
  moves("second", own);
  ASSERT_EQ(::chmod((disk + "/.Trash").c_str(), 01777), 0);
  moves("third", disk + "/.Trash/0");
  fs::rename(disk + "/.Trash", disk + "/elsewhere");
  fs::create_directory_symlink("elsewhere", disk + "/.Trash");
  moves("fourth", own);

  // Another user's item in place of the user's own Trash is not used.
  fs::remove_all(own);
  fs::create_directory_symlink("elsewhere", own);
  writeFile(disk + "/fifth", "contents");
  EXPECT_FALSE(OXMoveFileToTrashSync(disk + "/fifth"));
  removeOne(own);
  fs::create_directory(own);
  ASSERT_EQ(::chown(own.c_str(), 65534, 65534), 0);
  EXPECT_FALSE(OXMoveFileToTrashSync(disk + "/fifth"));
  EXPECT_EQ(readFile(disk + "/fifth"), "contents");
}

TEST_F(TrashOnADisk, TakesAllOrNothingWhicheverCallFails) {
  makeShared();
  for (const int error : {EACCES, EMFILE}) {
    bool wasReached = true;
    for (int nth = 1; wasReached; ++nth) {
      SCOPED_TRACE(std::to_string(nth) + ": " + std::strerror(error));
      fs::remove_all(own);
      fs::remove_all(shared);
      writeFile(disk + "/file", "contents");
      ObservedSystem observed;
      observed.failNth(nth, error);
      const bool answer = OXMoveFileToTrashSync(disk + "/file");
      wasReached = nth <= observed.count();
      const std::string used = exists(shared + "/files/file") ? shared : own;
      expectAllOrNothing(answer, disk + "/file", namesIn(used + "/files"), namesIn(used + "/info"));
      EXPECT_TRUE(!answer || readFile(used + "/info/file.trashinfo").find("\nPath=file\n") !=
                                 std::string::npos);
    }
  }
}

TEST_F(TrashOnADisk, HasFoldersOfTheUsersOwn) {
  makeShared();
  const auto isRefused = [&](const std::string& trashFolder, const std::string& part) {
    const bool isLink = fs::is_symlink(trashFolder + "/" + part);
    SCOPED_TRACE(trashFolder + "/" + part + (isLink ? ", a link" : ", of another user"));
    writeFile(disk + "/file", "contents");
    const bool hasNext = trashFolder == shared;
    EXPECT_EQ(OXMoveFileToTrashSync(disk + "/file"), hasNext);
    if (hasNext) {
      EXPECT_EQ(readFile(own + "/files/file"), "contents");
      removeTree(own);
    } else {
      EXPECT_EQ(readFile(disk + "/file"), "contents");
    }
  };
  for (const std::string& trashFolder : {shared, own}) {
    for (const char* part : {"info", "files"}) {
      fs::create_directory(trashFolder);
      fs::create_directory(disk + "/elsewhere");
      fs::create_directory_symlink(disk + "/elsewhere", trashFolder + "/" + part);
      isRefused(trashFolder, part);
      EXPECT_EQ(listing(disk + "/elsewhere"), Names{});
      removeOne(trashFolder + "/" + part);
      fs::create_directory(trashFolder + "/" + part);
      ASSERT_EQ(::chown((trashFolder + "/" + part).c_str(), 65534, 65534), 0);
      isRefused(trashFolder, part);
      EXPECT_EQ(listing(trashFolder + "/" + part), Names{});
      removeTree(trashFolder);
    }
    // A complete Trash of another user.
    fs::create_directories(trashFolder + "/info");
    fs::create_directory(trashFolder + "/files");
    for (const char* part : {"", "/info", "/files"}) {
      ASSERT_EQ(::chown((trashFolder + part).c_str(), 65534, 65534), 0);
    }
    isRefused(trashFolder, "");
    EXPECT_EQ(listing(trashFolder), (Names{"files", "info"}));
    // Without a shared Trash only the user's own is used.
    removeTree(disk + "/.Trash");
  }
}

TEST_F(TrashOnADisk, IsNextWhereTheOneInTheDataFolderCannotBeUsed) {
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/data");
  for (const char* part : {"info", "files"}) {
    fs::create_directories(trash());
    fs::create_directory(disk + "/elsewhere");
    fs::create_directory_symlink(disk + "/elsewhere", trash(part));
    writeFile(disk + "/file", "contents");
    EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/file"));
    EXPECT_EQ(listing(disk + "/elsewhere"), Names{});
    EXPECT_EQ(readFile(own + "/files/file"), "contents");
    removeTree(trash());
    removeTree(own);
  }
  // A move that the file system refuses leaves nothing there.
  removeTree(disk + "/data");
  makeShared();
  writeFile(disk + "/file", "contents");
  ObservedSystem observed;
  observed.fail(Call::renameat2, EXDEV, 1);
  EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/file"));
  EXPECT_EQ(readFile(shared + "/files/file"), "contents");
  EXPECT_FALSE(exists(disk + "/data"));
}

TEST_F(TrashOnADisk, KeepsWhatIsInAnyTrashOnTheWay) {
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/home/data");
  makeShared();
  const auto fill = [](const std::string& trashFolder) {
    fs::create_directories(trashFolder + "/files/folder/sub");
    fs::create_directories(trashFolder + "/info");
    writeFile(trashFolder + "/files/file");
    writeFile(trashFolder + "/info/file.trashinfo");
  };
  fs::create_directories(disk + "/real/Trash");
  fs::create_directories(disk + "/home/data");
  fs::create_directory_symlink("../../real/link", disk + "/home/data/Trash");
  fs::create_directory_symlink("Trash", disk + "/real/link");
  const Names trashes = {own, shared, disk + "/real/Trash"};
  for (const std::string& trashFolder : trashes) {
    fill(trashFolder);
  }
  fs::create_directory(disk + "/.Trash/1000");
  const Names before = listing(disk);
  Names paths = {trash(), disk + "/home/data", disk + "/home", disk + "/.Trash",
                 disk + "/.Trash/1000"};
  for (const std::string& trashFolder : trashes) {
    for (const char* below : {"", "/files", "/info", "/files/file", "/files/folder",
                              "/files/folder/sub", "/info/file.trashinfo"}) {
      paths.push_back(trashFolder + below);
    }
  }
  for (const std::string& path : paths) {
    EXPECT_FALSE(OXMoveFileToTrashSync(path)) << path;
    EXPECT_EQ(listing(disk), before) << path;
  }
  // Other users' Trash folders are moved like other items.
  fs::create_directory(disk + "/.Trash-1000");
  EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/.Trash-1000"));
}

TEST_F(TrashOnADisk, KeepsWhatMayBeInOne) {
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/data");
  fs::create_directories(own + "/files");
  fs::create_directories(disk + "/.Trash/0/files");
  for (const std::string& folder : {own, shared}) {
    writeFile(folder + "/files/file", "contents");
    for (const Call call : {Call::fstat, Call::fstatat, Call::openat}) {
      bool wasReached = true;
      for (int nth = 1; wasReached; ++nth) {
        ObservedSystem observed;
        observed.fail(call, EIO, nth);
        EXPECT_FALSE(OXMoveFileToTrashSync(folder + "/files/file"))
            << static_cast<int>(call) << ": " << nth;
        wasReached = nth <= observed.count(call);
      }
    }
  }
}

TEST_F(TrashOnADisk, KeepsWhatIsInTheTrashOfAnotherDiskBelowWhichItIsMounted) {
  fs::create_directories(own + "/files/mount");
  const Mount inner = Mount::onDisk(own + "/files/mount", in("inner"));
  ASSERT_TRUE(inner);
  writeFile(own + "/files/mount/file", "contents");
  EXPECT_FALSE(OXMoveFileToTrashSync(own + "/files/mount/file"));
  EXPECT_EQ(readFile(own + "/files/mount/file"), "contents");
}

TEST_F(TrashOnADisk, IsAtTheTopOfABindMountOfTheDataFoldersDisk) {
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/data");
  fs::create_directories(disk + "/shown/sub");
  fs::create_directory(in("mount"));
  const std::string there = in("mount/.Trash-0");
  {
    const Mount mount = Mount::bind(in("mount"), disk + "/shown");
    ASSERT_TRUE(mount);
    writeFile(in("mount/sub/file"), "contents");
    EXPECT_TRUE(OXMoveFileToTrashSync(in("mount/sub/file")));
    EXPECT_EQ(readFile(there + "/files/file"), "contents");
    EXPECT_EQ(pathIn("file.trashinfo", there), "sub/file");
    EXPECT_FALSE(exists(disk + "/data"));
    EXPECT_FALSE(OXMoveFileToTrashSync(there + "/files/file"));
    EXPECT_FALSE(OXMoveFileToTrashSync(in("mount"))) << "a mount point cannot be moved";
  }
  EXPECT_EQ(readFile(disk + "/shown/.Trash-0/files/file"), "contents");
  EXPECT_FALSE(exists(trash()));
}

TEST_F(TrashOnADisk, IsReachedThroughABindMountOfAFolderOnItself) {
  if (!ox::test::areMountsTold()) {
    GTEST_SKIP() << "the kernel does not tell mounts of one device apart";
  }
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/data");
  fs::create_directories(disk + "/folder/itself");
  const Mount mount = Mount::bind(disk + "/folder/itself", disk + "/folder");
  ASSERT_TRUE(mount);
  writeFile(disk + "/folder/file", "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/folder/itself/file"));
  EXPECT_EQ(pathIn("file.trashinfo", disk + "/folder/itself/.Trash-0"), "file");
  EXPECT_EQ(readFile(disk + "/folder/.Trash-0/files/file"), "contents");
}

TEST_F(TrashOnADisk, DoesNotTakeAMountPoint) {
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/data");
  fs::create_directory(disk + "/folder");
  fs::create_directory(disk + "/mounted folder");
  writeFile(disk + "/file", "contents");
  writeFile(disk + "/mounted file", "below");
  const Mount folder = Mount::bind(disk + "/mounted folder", disk + "/folder");
  const Mount file = Mount::bind(disk + "/mounted file", disk + "/file");
  ASSERT_TRUE(folder && file);
  const Names before = listing(disk);
  EXPECT_FALSE(OXMoveFileToTrashSync(disk + "/mounted folder"));
  EXPECT_FALSE(OXMoveFileToTrashSync(disk + "/mounted file"));
  EXPECT_EQ(listing(disk), before);
}

TEST_F(TrashOnADisk, TakesAFolderWithAllThatIsMountedInIt) {
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk + "/data");
  fs::create_directories(disk + "/folder/sub/mount");
  const Mount mount = Mount::inMemory(disk + "/folder/sub/mount", "64k");
  ASSERT_TRUE(mount);
  writeFile(disk + "/folder/sub/mount/file", "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/folder"));
  const std::string moved = trash("files/folder/sub/mount");
  EXPECT_EQ(readFile(moved + "/file"), "contents");
  EXPECT_NE(deviceOf(moved), deviceOf(trash()));
  EXPECT_EQ(::umount(moved.c_str()), 0);
}

// A file system in memory assigns inode numbers in the order of creation.
TEST_F(TrashPlace, IsNoFolderOfTheSameNumberOnAnotherDevice) {
  OX_SKIP_UNLESS_ROOT("only root may mount a disk");
  fs::create_directory(in("outer"));
  {
    const Mount outer = Mount::inMemory(in("outer"), "64k");
    fs::create_directories(in("outer/a/b/c/mount"));
    const Mount inner = Mount::inMemory(in("outer/a/b/c/mount"), "64k");
    if (!outer || !inner) {
      GTEST_SKIP() << "nothing can be mounted here";
    }
    const std::string disk = in("outer/a/b/c/mount");
    const ox::test::ScopedEnvironment data("XDG_DATA_HOME", disk);
    fs::create_directories(trash("info"));
    writeFile(disk + "/file", "contents");
    struct stat folder {};
    struct stat trashFolder {};
    ASSERT_EQ(::stat(in("outer/a").c_str(), &folder), 0);
    ASSERT_EQ(::stat(trash().c_str(), &trashFolder), 0);
    if (folder.st_ino != trashFolder.st_ino) {
      GTEST_SKIP() << "the two items have different inode numbers here";
    }
    EXPECT_TRUE(OXMoveFileToTrashSync(disk + "/file"));
    EXPECT_EQ(readFile(trash("files/file")), "contents");
  }
}

TEST_F(TrashPlace, KeepsTheLinksThatLeadToIt) {
  fs::create_directories(in("real/inner"));
  fs::create_directory_symlink("real", in("link"));
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", in("link/data"));
  fs::create_directory(in("link/data"));
  fs::create_directory_symlink(in("real/inner"), trash());
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  const Names before = listing(work());
  for (const std::string& path : {trash(), in("link"), in("real/data"), in("real/data/Trash")}) {
    EXPECT_FALSE(OXMoveFileToTrashSync(path)) << path;
    EXPECT_EQ(listing(work()), before) << path;
  }
}

// A chain of links, each in its own folder.
TEST_F(TrashPlace, KeepsTheLinksThatItsLinksLeadThrough) {
  for (const char* folder : {"a", "b/sub", "c", "real", "other"}) {
    fs::create_directories(in(folder));
  }
  fs::create_directory_symlink("../b/./sub/../second", in("a/first"));
  fs::create_directory_symlink(in("c/third"), in("b/second"));
  fs::create_directory_symlink("../real", in("c/third"));
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", in("a/first"));
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  const Names before = listing(work());
  for (const char* path : {"a", "a/first", "b", "b/sub", "b/second", "c", "c/third", "real"}) {
    EXPECT_FALSE(OXMoveFileToTrashSync(in(path))) << path;
    EXPECT_EQ(listing(work()), before) << path;
  }
  EXPECT_TRUE(OXMoveFileToTrashSync(in("other")));
  EXPECT_EQ(readFile(in("a/first/Trash/files/file")), "contents");
}

// As many as the system follows; each link is reached through all those before it.
TEST_F(TrashPlace, KeepsEveryLinkOfAPathOfLinks) {
  constexpr int pairCount = 20;
  std::string dataHome = in("0");
  Names paths = {"0"};
  fs::create_directory(in("0"));
  for (int i = 1; i <= pairCount; ++i) {
    const std::string number = std::to_string(i);
    const std::string first = std::to_string(i - 1) + "/to" + number;
    const std::string second = "via" + number;
    fs::create_directory(in(number));
    fs::create_directory_symlink("../" + second, in(first));
    fs::create_directory_symlink(number, in(second));
    paths.insert(paths.end(), {first, second, number});
    dataHome += "/to" + number;
  }
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", dataHome);
  for (const std::string& path : paths) {
    EXPECT_FALSE(OXMoveFileToTrashSync(in(path))) << path;
  }
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(in("20/Trash/files/file")), "contents");
}

TEST_F(TrashPlace, IsNotLookedForInLinksThatLeadInACircle) {
  fs::create_directory_symlink("second", in("first"));
  fs::create_directory_symlink("first", in("second"));
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", in("first"));
  writeFile(in("file"), "contents");
  const Names before = listing(work());
  EXPECT_FALSE(OXMoveFileToTrashSync(in("file")));
  EXPECT_FALSE(OXMoveFileToTrashSync(in("first")));
  EXPECT_EQ(listing(work()), before);
}

}  // namespace
