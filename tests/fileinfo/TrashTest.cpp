#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/RemoveItem.h"
#include "support/ChildProcess.h"
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
using ox::test::ObservedSystem;
using ox::test::readFile;
using ox::test::removeOne;
using ox::test::writeFile;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Names = std::vector<std::string>;

OXFileReference referenceOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return {.device = status.st_dev, .inode = status.st_ino, .path = path};
}

class FileReference : public ox::test::TemporaryFolderTest {};

TEST_F(FileReference, SaysWhichItemIsWhere) {
  writeFile(in("file"));
  fs::create_directory(in("folder"));
  ASSERT_EQ(::symlink("folder", in("link").c_str()), 0);
  ASSERT_EQ(::symlink("missing", in("nowhere").c_str()), 0);
  ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
  for (const char* name : {"file", "folder", "link", "nowhere", "fifo", "folder/..", "."}) {
    for (const char* slashes : {"", "/", "///"}) {
      OXFileReference reference;
      EXPECT_TRUE(OXReferenceFromPath(reference, in(name) + slashes)) << name << slashes;
      EXPECT_EQ(reference, referenceOf(in(name))) << name << slashes;
    }
  }
  OXFileReference root;
  EXPECT_TRUE(OXReferenceFromPath(root, "///"));
  EXPECT_EQ(root, referenceOf("/"));
  for (const char* name : {"file", "folder", "link", "nowhere", "fifo"}) {
    removeOne(in(name));
  }
}

TEST_F(FileReference, IsLeftAsItWasWhenThereIsNoItem) {
  static_cast<void>(ox::test::takeLogLines());
  writeFile(in("file"));
  const OXFileReference before{.device = 1, .inode = 2, .path = "before"};
  OXFileReference reference = before;
  const std::vector<OXStringView> paths = {std::nullopt, "", "missing", "missing/"};
  for (const OXStringView path : paths) {
    EXPECT_FALSE(OXReferenceFromPath(reference, path));
  }
  EXPECT_FALSE(OXReferenceFromPath(reference, in("file/x")));
  EXPECT_FALSE(OXReferenceFromPath(reference, in("file") + std::string("\0", 1)));
  EXPECT_FALSE(OXReferenceFromPath(reference, "/" + std::string(5000, 'n')));
  ObservedSystem observed;
  for (const int error : {EACCES, ENOSPC, EMFILE, ENOMEM, EINTR, EIO}) {
    observed.fail(Call::lstat, error);
    EXPECT_FALSE(OXReferenceFromPath(reference, in("file")));
  }
  EXPECT_EQ(reference, before);
  EXPECT_TRUE(ox::test::takeLogLines().empty());
  removeOne(in("file"));
}

class Trash : public ox::test::TemporaryFolderTest {
 protected:
  void TearDown() override {
    // Whatever permissions it has.
    for (const std::string& path : {trash(), work()}) {
      EXPECT_TRUE(ox::files::removeItem(ox::PathBuffer(path)));
    }
    fs::create_directory(work());
    TemporaryFolderTest::TearDown();
  }

  static std::string trash(const std::string& name = "") {
    return std::getenv("XDG_DATA_HOME") + std::string("/Trash") + (name.empty() ? "" : "/") + name;
  }

  static Names items() { return namesIn(trash("files")); }
  static Names entries() { return namesIn(trash("info")); }

  static Names namesIn(const std::string& folder) {
    Names names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
      names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    return names;
  }

  // What an entry says of the path.
  static std::string pathIn(const std::string& entry) {
    const std::string text = readFile(trash("info/" + entry));
    const std::size_t start = text.find("Path=") + 5;
    return text.substr(start, text.find('\n', start) - start);
  }

  static void restore(const std::string& path) {
    // It asks for a number, of the one item that came from there.
    static_cast<void>(ox::test::outputOf(
        {.program = "sh", .arguments = {"-c", "echo 0 | trash-restore \"$1\"", "sh", path}}));
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
    EXPECT_EQ(observed.count(Call::fchmodat), 0) << name;
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
      // An extension that just leaves room for one byte before it, and one that leaves none.
      {"fg." + std::string(243, 'f'), "f." + std::string(243, 'f')},
      {"g." + std::string(244, 'g'), "g." + std::string(243, 'g')},
      {umlauts, umlauts.substr(0, 244)},  // no half of a character
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
  ObservedSystem observed;
  // The two folders, and those on the way from the item's to the root and to what is above that.
  const fs::path place = fs::canonical(work());
  const int folders = 2 + static_cast<int>(std::distance(place.begin(), place.end()));
  observed.fail(Call::openat, ENAMETOOLONG, folders + 1);
  EXPECT_TRUE(OXMoveFileToTrashSync(in(name)));
  EXPECT_THAT(items(), ElementsAre(std::string(118, 'a') + ".zip"));
  EXPECT_EQ(pathIn(std::string(118, 'a') + ".zip.trashinfo"), in(name));
  writeFile(in(name), "contents");
  observed.before(Call::openat, [&, calls = 0]() mutable {
    if (++calls == folders + 1) {
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

  const std::string list = ox::test::outputOf({.program = "trash-list"});
  for (const std::string& name : names) {
    EXPECT_THAT(list, HasSubstr(" " + in(name) + "\n"));
    restore(in(name));
    EXPECT_EQ(readFile(in(name)), "contents of " + name);
  }
  restore(in("folder"));
  EXPECT_EQ(readFile(in("folder/sub/file")), "in the folder");
  EXPECT_EQ(ox::test::outputOf({.program = "trash-list"}), "");
  EXPECT_THAT(items(), IsEmpty());
  EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(Trash, IsTheUsersAccordingToTheEnvironment) {
  const ox::test::ScopedEnvironment none("XDG_DATA_HOME", std::nullopt);
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(home() + "/.local/share/Trash/files/file"), "contents");
  fs::remove_all(home() + "/.local");
}

TEST_F(Trash, MayLieElsewhereOnTheSameFileSystem) {
  fs::create_directory(in("elsewhere"));
  fs::create_directory_symlink(in("elsewhere"), trash());
  writeFile(in("file"), "contents");
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(readFile(in("elsewhere/files/file")), "contents");
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

TEST_F(Trash, DoesNotTakeItselfApart) {
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

TEST_F(Trash, DoesNotTakeWhatMayLieInIt) {
  writeFile(in("file"), "contents");
  for (int nth = 1; nth <= 4; ++nth) {
    ObservedSystem observed;
    observed.fail(Call::fstat, EIO, nth);  // one of the folders is not known
    EXPECT_FALSE(OXMoveFileToTrashSync(in("file"))) << nth;
  }
  EXPECT_THAT(items(), IsEmpty());
  EXPECT_EQ(readFile(in("file")), "contents");
}

TEST_F(Trash, LeavesTheItemWhereTheTrashCannotBeMade) {
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

TEST_F(Trash, LeavesTheItemWhereTheTrashMayNotBeWritten) {
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

TEST_F(Trash, DoesNotTakeAnotherItemThatTookThePlace) {
  writeFile(in("file"), "the item");
  ObservedSystem observed;
  observed.before(Call::fsync, [this] {
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

TEST_F(Trash, IsNoneOfAUserWithoutAHome) {
  OX_SKIP_UNLESS_ROOT("only root can become a user that the password database does not know");
  fs::create_directory(in("open"));
  for (const std::string& folder : {fs::path(work()).parent_path().string(), work(), in("open")}) {
    ASSERT_EQ(::chmod(folder.c_str(), 0777), 0);
  }
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

// The item is either in its place, with nothing of it in the Trash, or in the Trash, with an entry.
void expectAllOrNothing(bool answer, const std::string& path, const Names& items,
                        const Names& entries) {
  if (answer) {
    EXPECT_FALSE(exists(path));
    ASSERT_THAT(items, ElementsAre("file"));
    EXPECT_THAT(entries, ElementsAre("file.trashinfo"));
  } else {
    EXPECT_EQ(readFile(path), "contents");
    EXPECT_THAT(items, IsEmpty());
    EXPECT_THAT(entries, IsEmpty());
  }
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

// Takes all the room that there is.
void fill(const std::string& path) {
  std::ofstream file(path);
  while (file.write("01234567", 8).flush()) {
  }
}

TEST_F(Trash, LeavesTheItemOnAFullDisk) {
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

TEST_F(Trash, LeavesTheItemOnAFileSystemWithoutATrash) {
  std::string folder = "/dev/shm/orvexkit-test.XXXXXX";
  if (referenceOf("/dev/shm").device == referenceOf(work()).device ||
      ::mkdtemp(folder.data()) == nullptr) {
    GTEST_SKIP() << "there is no other file system";
  }
  writeFile(folder + "/file", "contents");
  EXPECT_FALSE(OXMoveFileToTrashSync(folder + "/file"));
  EXPECT_EQ(readFile(folder + "/file"), "contents");
  EXPECT_FALSE(OXMoveFileToTrashSync("/proc/self/status"));
  EXPECT_FALSE(exists(trash())) << "it would not have been the right one";
  fs::remove_all(folder);
}

// A disk of its own, in `disk`, and the user's Trash there, which is not made yet.
class TrashOnADisk : public Trash {
 protected:
  void SetUp() override {
    OX_SKIP_UNLESS_ROOT("only root may mount a disk");
    if (work().starts_with("/dev/")) {
      GTEST_SKIP() << "a disk that is mounted there is taken for one of the system's own";
    }
    fs::create_directory(disk);
    mount_.emplace(ox::test::Mount::onDisk(disk, in("image")));
    if (!*mount_) {
      GTEST_SKIP() << "no disk can be mounted here";
    }
  }

  void TearDown() override {
    mount_.reset();
    Trash::TearDown();
  }

  const std::string disk = in("disk");
  const std::string own = disk + "/.Trash-0";

 private:
  std::optional<ox::test::Mount> mount_;
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

  // One for all users counts when nobody else can move what is in it, and it is no link.
  ASSERT_EQ(::mkdir((disk + "/.Trash").c_str(), 0777), 0);
  moves("second", own);
  ASSERT_EQ(::chmod((disk + "/.Trash").c_str(), 01777), 0);
  moves("third", disk + "/.Trash/0");
  fs::rename(disk + "/.Trash", disk + "/elsewhere");
  fs::create_directory_symlink("elsewhere", disk + "/.Trash");
  moves("fourth", own);

  // What somebody else put in place of the user's own is not used.
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
  fs::create_directory(disk + "/.Trash");
  ASSERT_EQ(::chmod((disk + "/.Trash").c_str(), 01777), 0);
  const std::string shared = disk + "/.Trash/0";
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

TEST_F(Trash, NeedsNoThreadAndNoDaemon) {
  writeFile(in("file"), "contents");
  // On the second path GIO is asked about the mount.
  EXPECT_EQ(linesOf({.program = OX_PROBE,
                     .arguments = {"threads", "trash:" + in("file"), "trash:/proc/self/status",
                                   "threads", "sockets"}}),
            (Names{"1", "1", "0", "1", "0"}));
  writeFile(in("file"), "contents");
  const std::size_t threads = ox::test::threadCount();
  EXPECT_TRUE(OXMoveFileToTrashSync(in("file")));
  EXPECT_EQ(ox::test::threadCount(), threads);
}

TEST_F(Trash, IsNotFoundOnOtherDisksWithoutGio) {
  writeFile(in("file"), "contents");
  EXPECT_EQ(
      linesOf({.program = OX_INNER_PROBE,
               .arguments = {"fail-dlopen:on", "trash:/proc/self/status", "trash:" + in("file")}}),
      (Names{"0", "1"}));
}

}  // namespace
