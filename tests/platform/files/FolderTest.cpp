// SPDX-License-Identifier: MIT

#include "platform/files/Folder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/files/DirectoryReader.h"
#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox;
using namespace ox::test;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

using Access = Folder::Access;
using Links = Folder::Links;

class FolderTest : public TemporaryFolderTest {
 protected:
  void SetUp() override {
    folder_ = Folder::open(work().c_str(), Access::list, Links::refuse);
    ASSERT_EQ(folder_.error(), 0);
  }

  const Folder& folder() const { return folder_; }

  mode_t modeOf(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(::lstat(in(name).c_str(), &status), 0) << name;
    return status.st_mode & 07777U;
  }

 private:
  Folder folder_;
};

TEST(Identity, IsThatOfDeviceAndInode) {
  struct stat status {};
  status.st_dev = 1;
  status.st_ino = 2;
  const Identity identity = identityOf(status);
  EXPECT_EQ(identity, (Identity{.device = 1, .inode = 2}));
  EXPECT_NE(identity, (Identity{.device = 3, .inode = 2}));
  EXPECT_NE(identity, (Identity{.device = 1, .inode = 3}));
}

TEST_F(FolderTest, OpensFoldersAndFollowsNoLinkUnlessToldTo) {
  std::filesystem::create_directory(in("d"));
  writeFile(in("file"));
  std::filesystem::create_directory_symlink("d", in("link"));
  ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
  struct Row {
    std::string name;
    int refusing;
    int following;
  };
  const Row rows[] = {
      {"d", 0, 0},
      {"d/", 0, 0},
      {"link", ENOTDIR, 0},
      {"file", ENOTDIR, ENOTDIR},
      {"fifo", ENOTDIR, ENOTDIR},
      {"missing", ENOENT, ENOENT},
  };
  for (const Access access : {Access::list, Access::use}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.name);
      struct stat status {};
      Folder opened = Folder::open(in(row.name).c_str(), access, Links::refuse);
      EXPECT_EQ(opened.error(), row.refusing);
      EXPECT_EQ(opened.isOpen(), row.refusing == 0);
      EXPECT_EQ(opened.status(status), row.refusing);
      EXPECT_EQ(opened.statusOf(".", status), row.refusing);
      opened = Folder::open(in(row.name).c_str(), access, Links::follow);
      EXPECT_EQ(opened.error(), row.following);
      EXPECT_EQ(opened.isOpen(), row.following == 0);
      opened = folder().openFolder(row.name.c_str(), access);
      EXPECT_EQ(opened.error(), row.refusing);
      EXPECT_EQ(opened.isOpen(), row.refusing == 0);
    }
  }
  for (const char* name : {"d", "file", "link", "fifo"}) {
    removeOne(in(name));
  }
}

TEST_F(FolderTest, IsTheSameFolderWhereverItGoes) {
  std::filesystem::create_directories(in("d/e"));
  const Folder inner = folder().openFolder("d", Access::use);
  ASSERT_TRUE(inner.isOpen());
  ASSERT_EQ(::rename(in("d").c_str(), in("moved").c_str()), 0);
  std::filesystem::create_directory_symlink(home(), in("d"));
  EXPECT_EQ(inner.makeFolder("made", 0700), 0);
  EXPECT_EQ(inner.removeFolder("e"), 0);
  EXPECT_THAT(listing(work()), ElementsAre("d", "moved", "moved/made"));
  const Folder parent = inner.openFolder("..", Access::list);
  ASSERT_TRUE(parent.isOpen());
  struct stat one {};
  struct stat other {};
  EXPECT_EQ(parent.status(one), 0);
  EXPECT_EQ(folder().status(other), 0);
  EXPECT_EQ(identityOf(one), identityOf(other));
  for (const char* name : {"d", "moved/made", "moved"}) {
    removeOne(in(name));
  }
}

TEST_F(FolderTest, MakesFilesExclusively) {
  std::filesystem::create_symlink("elsewhere", in("link"));
  const FileDescriptor overLink = folder().createFile("link", 0600);
  EXPECT_FALSE(overLink.isOpen());
  EXPECT_EQ(overLink.error(), EEXIST);
  const FileDescriptor file = folder().createFile("new", 0600);
  EXPECT_TRUE(file.isOpen());
  EXPECT_EQ(file.error(), 0);
  EXPECT_EQ(modeOf("new"), 0600U);
  EXPECT_EQ(folder().createFile("new", 0600).error(), EEXIST);
  EXPECT_THAT(listing(work()), ElementsAre("link", "new"));
  removeOne(in("link"));
  removeOne(in("new"));
}

TEST_F(FolderTest, TellsWhatALinkIsAndNotWhereItLeads) {
  std::filesystem::create_symlink(home(), in("link"));
  struct stat status {};
  EXPECT_EQ(folder().statusOf("link", status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  EXPECT_EQ(folder().statusOf("missing", status), ENOENT);
  EXPECT_EQ(folder().removeFolder("link"), ENOTDIR);
  EXPECT_EQ(folder().unlink("link"), 0);
}

TEST_F(FolderTest, ReadsItsEntriesAnew) {
  for (int i = 0; i < 3; ++i) {
    writeFile(in(std::to_string(i)));
  }
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(folder().rewind(), 0);
    DirectoryReader<512> reader(folder());
    std::vector<std::string> names;
    while (const auto entry = reader.next()) {
      names.emplace_back(entry->name);
    }
    EXPECT_THAT(names, UnorderedElementsAre("0", "1", "2"));
  }
  for (int i = 0; i < 3; ++i) {
    removeOne(in(std::to_string(i)));
  }
}

TEST_F(FolderTest, RenamesOverNothing) {
  for (const bool canCheckAndRename : {true, false}) {
    SCOPED_TRACE(canCheckAndRename);
    writeFile(in("a"), "a");
    writeFile(in("b"), "b");
    std::filesystem::create_symlink("nowhere", in("link"));
    ObservedSystem system;
    if (!canCheckAndRename) {
      system.fail(Call::renameat2, EINVAL);
    }
    EXPECT_EQ(folder().rename("a", folder(), "b"), EEXIST);
    EXPECT_EQ(folder().rename("a", folder(), "link"), EEXIST);
    EXPECT_EQ(folder().rename("missing", folder(), "new"), ENOENT);
    EXPECT_EQ(readFile(in("b")), "b");
    EXPECT_EQ(folder().rename("a", folder(), "c"), 0);
    EXPECT_EQ(readFile(in("c")), "a");
    removeOne(in("b"));
    removeOne(in("c"));
    removeOne(in("link"));
  }
}

TEST_F(FolderTest, ChangesThePermissionsOfFoldersInEachWay) {
  for (const bool isProcHidden : {false, true}) {
    for (const mode_t mode : {0000U, 0100U, 0200U, 0300U, 0400U, 0500U, 0700U}) {
      SCOPED_TRACE(mode);
      std::filesystem::create_directory(in("d"));
      std::filesystem::create_directory_symlink("d", in("link"));
      ASSERT_EQ(::chmod(in("d").c_str(), mode), 0);
      ObservedSystem system;
      if (isProcHidden) {
        system.hideProc();
      }
      EXPECT_NE(folder().setPermissionsOf("link", 0777), 0);
      EXPECT_EQ(modeOf("d"), mode);
      EXPECT_EQ(folder().setPermissionsOf("d", S_IFDIR | 0750U), 0);
      EXPECT_EQ(modeOf("d"), 0750U);
      EXPECT_EQ(folder().setPermissionsOf("missing", 0700), ENOENT);
      removeOne(in("d"));
      removeOne(in("link"));
    }
  }
}

// Without /proc, permissions of a folder that cannot be searched are changed by name, so only where
// nobody else can put a link there.
TEST_F(FolderTest, ChangesPermissionsByNameOnlyWhereTheNameIsTheUsersOwn) {
  OX_SKIP_AS_ROOT();
  const std::pair<mode_t, int> rows[] = {
      {0700, 0}, {0755, 0}, {0770, EACCES}, {0707, EACCES}, {01777, 0}, {01770, 0},
  };
  for (const auto& [mode, error] : rows) {
    SCOPED_TRACE(mode);
    std::filesystem::create_directory(in("d"));
    ASSERT_EQ(::chmod(in("d").c_str(), 0), 0);
    ASSERT_EQ(::chmod(work().c_str(), mode), 0);
    ObservedSystem system;
    system.hideProc();
    EXPECT_EQ(folder().setPermissionsOf("d", 0700), error);
    EXPECT_EQ(modeOf("d"), error == 0 ? 0700U : 0U);
    removeOne(in("d"));
  }
  ASSERT_EQ(::chmod(work().c_str(), 0700), 0);
}

}  // namespace
