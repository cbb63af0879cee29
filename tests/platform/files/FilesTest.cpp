#include "platform/files/Files.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox;
using namespace ox::test;
using testing::ElementsAre;
using testing::IsEmpty;

class FileManager : public TemporaryFolderTest {
 protected:
  PathBuffer path(const std::string& name) const { return PathBuffer(in(name)); }
};

const std::string nul("a\0b", 3);

TEST_F(FileManager, TellsWhatExistsAndWhatIsTaken) {
  writeFile(in("file"));
  std::filesystem::create_symlink("file", in("link"));
  std::filesystem::create_symlink("nowhere", in("dangling"));
  std::filesystem::create_symlink("loop", in("loop"));
  struct Row {
    std::string name;
    bool exists;
    bool isTaken;
  };
  const Row rows[] = {
      {"file", true, true},
      {"link", true, true},
      {"dangling", false, true},
      {"loop", false, true},
      {"missing", false, false},
      {"file/x", false, false},
      {"file" + nul, false, false},
      {nul, false, false},
      {std::string(300, 'n'), false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.name));
    EXPECT_EQ(files::itemExists(path(row.name)), row.exists);
    EXPECT_EQ(files::isNameTaken(path(row.name)), row.isTaken);
  }
  for (const char* name : {"file", "link", "dangling", "loop"}) {
    removeOne(in(name));
  }
}

TEST_F(FileManager, MakesFoldersExclusively) {
  EXPECT_EQ(files::createFolder(path("d")), files::Creation::created);
  EXPECT_EQ(files::createFolder(path("d")), files::Creation::nameTaken);
  writeFile(in("file"));
  EXPECT_EQ(files::createFolder(path("file")), files::Creation::nameTaken);
  EXPECT_EQ(files::createFolder(path("file/x")), files::Creation::failed);
  std::filesystem::create_symlink("d", in("link"));
  EXPECT_EQ(files::createFolder(path("link")), files::Creation::nameTaken);
  EXPECT_EQ(files::createFolder(path(nul)), files::Creation::failed);
  EXPECT_EQ(files::createFolder(path("link/x")), files::Creation::created);
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/x", "file", "link"));
  for (const char* name : {"d/x", "d", "file", "link"}) {
    removeOne(in(name));
  }
}

TEST_F(FileManager, MakesFoldersOnTheWay) {
  EXPECT_EQ(files::createFolder(path("a//b/./c"), 0700), files::Creation::created);
  for (const char* name : {"a", "a/b", "a/b/c"}) {
    EXPECT_EQ(std::filesystem::status(in(name)).permissions(), std::filesystem::perms::owner_all);
  }
  EXPECT_EQ(files::createFolder(path("a/b/c")), files::Creation::nameTaken);
  for (const char* name : {"a/b/c", "a/b", "a"}) {
    removeOne(in(name));
  }
}

TEST_F(FileManager, MovesItems) {
  std::filesystem::create_directory(in("d"));
  EXPECT_TRUE(files::moveItem(path("d"), path("e")));
  EXPECT_FALSE(files::moveItem(path("d"), path("f")));
  EXPECT_FALSE(files::moveItem(path("e"), path(nul)));
  EXPECT_FALSE(files::moveItem(path(nul), path("e")));
  EXPECT_THAT(listing(work()), ElementsAre("e"));
  removeOne(in("e"));
}

TEST_F(FileManager, RemovesItems) {
  writeFile(in("file"));
  std::filesystem::create_directories(in("d/e/f"));
  std::filesystem::create_symlink("d", in("link"));
  EXPECT_TRUE(files::removeItem(path("link")));
  EXPECT_TRUE(files::removeItem(path("file")));
  EXPECT_TRUE(files::removeItem(path("d")));
  EXPECT_TRUE(files::removeItem(path("missing")));
  EXPECT_FALSE(files::removeItem(path(nul)));
  EXPECT_THAT(listing(work()), IsEmpty());
}

// Each system call of a removal failing in turn: it ends, says whether all is gone, and never
// reaches beyond the folder.
TEST_F(FileManager, EndsRemovalWhateverFails) {
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
      // The one call whose word has to be taken: the item itself is said to be gone.
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

TEST_F(FileManager, LeavesWhatCannotBeRemovedAndNothingElse) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  writeFile(in("d/other"));
  {
    ObservedSystem system;
    // As for a file that is marked immutable.
    system.before(Call::unlinkat, [&] { system.fail(Call::unlinkat, EPERM); });
    EXPECT_FALSE(files::removeItem(path("d")));
  }
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/e", "d/e/file", "d/other"));
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(FileManager, LeavesAFileThatMayNotBeRemoved) {
  writeFile(in("file"));
  ObservedSystem system;
  system.fail(Call::unlink, EACCES);
  EXPECT_FALSE(files::removeItem(path("file")));
  EXPECT_TRUE(exists(in("file")));
  // Somebody else was quicker.
  system.before(Call::unlink, [&] { removeOne(in("file")); });
  system.fail(Call::unlink, ENOENT);
  EXPECT_TRUE(files::removeItem(path("file")));
}

TEST_F(FileManager, LeavesAFolderThatMayNeitherBeReadNorChanged) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  {
    ObservedSystem system;
    system.fail(Call::openat, EACCES);
    EXPECT_FALSE(files::removeItem(path("d")));
    EXPECT_EQ(system.count(Call::fchmodat), 1);
    system.fail(Call::fchmodat, EPERM);
    EXPECT_FALSE(files::removeItem(path("d")));
  }
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/e", "d/e/file"));
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(FileManager, RemovesItemsWhoseKindIsNotListed) {
  std::filesystem::create_directories(in("d/e/empty"));
  std::filesystem::create_directory_symlink("e", in("d/link"));
  writeFile(in("d/e/file"));
  ObservedSystem system;
  system.hideEntryTypes();
  EXPECT_TRUE(files::removeItem(path("d")));
  EXPECT_FALSE(exists(in("d")));
}

TEST_F(FileManager, EndsRemovalWhereWhatIsListedIsNeverThere) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  writeFile(in("d/other"));
  {
    ObservedSystem system;
    system.fail(Call::unlinkat, ENOENT);
    EXPECT_FALSE(files::removeItem(path("d")));
  }
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/e", "d/e/file", "d/other"));
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(FileManager, CountsWhatVanishesDuringARemovalAsRemoved) {
  std::filesystem::create_directories(in("d/e"));
  writeFile(in("d/e/file"));
  ObservedSystem system;
  system.before(Call::unlinkat, [&] { std::filesystem::remove_all(in("d/e")); });
  EXPECT_TRUE(files::removeItem(path("d")));
  EXPECT_FALSE(exists(in("d")));
}

TEST_F(FileManager, DoesNotFollowALinkThatTakesAFoldersPlace) {
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

class DeepFolder : public FileManager {
 protected:
  // Deeper than what is emptied in place.
  DeepFolder() {
    std::string deep = in("d");
    for (int i = 0; i < 40; ++i) {
      deep += "/e";
    }
    std::filesystem::create_directories(deep);
    writeFile(deep + "/file");
  }
};

TEST_F(DeepFolder, IsRemovedWhateverNamesAreTaken) {
  for (const int error : {ENOTEMPTY, EEXIST, ENOTDIR, EISDIR, EACCES}) {
    SCOPED_TRACE(error);
    ObservedSystem system;
    system.fail(Call::renameat, error, 1);
    EXPECT_TRUE(files::removeItem(path("d")));
    EXPECT_GT(system.count(Call::renameat), 1);
    std::filesystem::create_directories(in("d/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e/e"));
  }
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(DeepFolder, StaysWhereItCannotBeMoved) {
  for (const int error : {EXDEV, EACCES, EROFS}) {
    SCOPED_TRACE(error);
    ObservedSystem system;
    system.fail(Call::renameat, error);
    EXPECT_FALSE(files::removeItem(path("d")));
    EXPECT_TRUE(exists(in("d")));
  }
  EXPECT_TRUE(files::removeItem(path("d")));
}

TEST_F(DeepFolder, MayVanishBeforeItIsMoved) {
  ObservedSystem system;
  system.before(Call::renameat, [&] { std::filesystem::remove_all(in("d/e")); });
  EXPECT_TRUE(files::removeItem(path("d")));
}

}  // namespace
