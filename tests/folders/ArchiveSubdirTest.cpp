// SPDX-License-Identifier: MIT

#include <OrvexKit/OXFileUtil.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/LogCapture.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;
using testing::ElementsAre;
using testing::IsEmpty;

class ArchiveSubdir : public TemporaryFolderTest {
 protected:
  void TearDown() override {
    EXPECT_THAT(listing(tmp()), IsEmpty()) << "a scratch folder is left";
    TemporaryFolderTest::TearDown();
  }
};

struct SubdirRow {
  std::string name;
  bool deletePathExtension;
  std::string folder;
};

const SubdirRow subdirRows[] = {
    {"notes.zip", true, "notes"},
    {"notes.zip", false, "notes.zip"},
    {"notes", true, "notes"},
    {"a.tar.gz", true, "a.tar"},
    {"a.tar.gz", false, "a.tar.gz"},
    {"Tool.app.zip", true, "Tool"},
    {"Tool.app.zip", false, "Tool.app.zip"},
    {"Tool.app", true, "Tool"},
    {"Tool.app", false, "Tool"},
    {"Tool.APP.zip", true, "Tool"},
    {"Tool.app.pkg.zip", true, "Tool"},
    {"Tool.app.v2.pkg.zip", true, "Tool.app.v2"},
    {"Letter.rtfd.bundle.app", false, "Letter"},
    {"Tool.apps.zip", true, "Tool.apps"},
    {"app.zip", true, "app"},
    {".app", true, ".app"},
    {".app", false, ".app"},
    {"a..app", false, "a."},
    // No extension to drop: an ordinary name.
    {".zip", true, ".zip"},
    {".zip", false, ".zip"},
    {"a.", true, "a."},
    {"...", true, "..."},
    {"....zip", true, "..."},
    {" .zip", true, " "},
    {"-rf.zip", true, "-rf"},
    {"line\nbreak.zip", true, "line\nbreak"},
    {"\xff\x80.zip", true, "\xff\x80"},
    {"\xc3\xa9.app.zip", true, "\xc3\xa9"},
};

TEST_F(ArchiveSubdir, IsNamedAfterTheArchive) {
  for (const SubdirRow& row : subdirRows) {
    SCOPED_TRACE(testing::PrintToString(row.name));
    EXPECT_EQ(OXSafelyCreateArchiveSubdir(row.name, work(), row.deletePathExtension),
              in(row.folder));
    EXPECT_THAT(listing(work()), ElementsAre(row.folder));
    EXPECT_THAT(listing(tmp()), IsEmpty());
    removeOne(in(row.folder));
  }
}

TEST_F(ArchiveSubdir, IsNewEachTime) {
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("Tool.app.zip", work(), true), in("Tool"));
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("Tool.app.zip", work(), true), in("Tool (1)"));
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("Tool.app.zip", work(), true), in("Tool (2)"));
  EXPECT_THAT(listing(work()), ElementsAre("Tool", "Tool (1)", "Tool (2)"));
  for (const char* name : {"Tool", "Tool (1)", "Tool (2)"}) {
    removeOne(in(name));
  }
}

TEST_F(ArchiveSubdir, CountsAfterTheWholeFolderName) {
  writeFile(in("a.tar"));
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("a.tar.gz", work(), true), in("a.tar (1)"));
  removeOne(in("a.tar"));
  removeOne(in("a.tar (1)"));
}

TEST_F(ArchiveSubdir, LeavesALinkThatLeadsNowhereAlone) {
  std::filesystem::create_symlink(in("nowhere"), in("notes"));
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", work(), true), in("notes (1)"));
  EXPECT_THAT(listing(work()), ElementsAre("notes", "notes (1)"));
  EXPECT_TRUE(isFolder(in("notes (1)")));
  removeOne(in("notes"));
  removeOne(in("notes (1)"));
}

TEST_F(ArchiveSubdir, MakesTheFoldersOnTheWay) {
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", in("a//b/c/"), true), in("a//b/c/notes"));
  EXPECT_THAT(listing(work()), ElementsAre("a", "a/b", "a/b/c", "a/b/c/notes"));
  for (const char* name : {"a/b/c/notes", "a/b/c", "a/b", "a"}) {
    removeOne(in(name));
  }
}

TEST_F(ArchiveSubdir, HasThePermissionsThatTheUserGivesToFolders) {
  const mode_t before = ::umask(027);
  const OXString path = OXSafelyCreateArchiveSubdir("notes.zip", work(), true);
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::stat(path->c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0750U);
  removeOne(*path);
}

struct RefusalRow {
  std::string name;
  bool deletePathExtension;
};

const RefusalRow refusals[] = {
    {"", true},
    {"", false},
    {".", true},
    {".", false},
    {"..", true},
    {"..", false},
    {"...zip", true},
    {"..zip", true},
    {"..app", false},
    {"...app", false},
    {"..app.zip", true},
    {"...app.pkg.zip", true},
    {"a/b.zip", true},
    {"a/b.zip", false},
    {"a/", true},
    {"a/", false},
    {"a.zip/", true},
    {"/", true},
    {"/", false},
    {"/a", false},
    {"../a.zip", true},
    {"a.zi/p", true},
    {std::string("a\0.zip", 6), true},
    {std::string("a.zi\0p", 6), true},
    {std::string("\0", 1), false},
};

TEST_F(ArchiveSubdir, RefusesNamesThatLeadElsewhere) {
  writeFile(in("item"));
  writeFile(tmp() + "/item");
  takeLogLines();
  for (const RefusalRow& row : refusals) {
    SCOPED_TRACE(testing::PrintToString(row.name));
    EXPECT_EQ(OXSafelyCreateArchiveSubdir(row.name, work(), row.deletePathExtension), std::nullopt);
    EXPECT_THAT(listing(work()), ElementsAre("item"));
    EXPECT_THAT(listing(tmp()), ElementsAre("item"));
  }
  EXPECT_THAT(takeLogLines(), IsEmpty());
  removeOne(in("item"));
  removeOne(tmp() + "/item");
}

TEST_F(ArchiveSubdir, OfNothingIsNothing) {
  EXPECT_EQ(OXSafelyCreateArchiveSubdir(std::nullopt, work(), true), std::nullopt);
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", std::nullopt, true), std::nullopt);
}

TEST_F(ArchiveSubdir, WithoutAScratchFolderIsLoggedAndNull) {
  takeLogLines();
  const ScopedEnvironment temporary("TMPDIR", in("missing"));
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", work(), true), std::nullopt);
  EXPECT_THAT(takeLogLines(), ElementsAre(libraryLine("mkstemp failed to generate a temp dir!")));
}

TEST_F(ArchiveSubdir, MayHaveTheLongestName) {
  const std::string longest(255, 'n');
  EXPECT_EQ(OXSafelyCreateArchiveSubdir(longest, work(), false), in(longest));
  EXPECT_TRUE(isFolder(in(longest)));
  removeOne(in(longest));
  const std::string withExtension = std::string(251, 'n') + ".app";
  EXPECT_EQ(OXSafelyCreateArchiveSubdir(withExtension, work(), false), in(std::string(251, 'n')));
  removeOne(in(std::string(251, 'n')));
  // Too long only with the extension, which is dropped.
  EXPECT_EQ(OXSafelyCreateArchiveSubdir(longest + ".app", work(), false), in(longest));
  removeOne(in(longest));
}

TEST_F(ArchiveSubdir, ThatCannotBeMadeIsNamedAllTheSame) {
  const std::string tooLong(256, 'n');
  EXPECT_EQ(OXSafelyCreateArchiveSubdir(tooLong, work(), false), in(tooLong));
  // Longer than PATH_MAX.
  const std::string muchTooLong(5000, 'n');
  EXPECT_EQ(OXSafelyCreateArchiveSubdir(muchTooLong, work(), false), in(muchTooLong));
  EXPECT_EQ(OXSafelyCreateArchiveSubdir(muchTooLong + ".app", work(), false), in(muchTooLong));
  EXPECT_THAT(listing(tmp()), IsEmpty());
  writeFile(in("file"));
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", in("file"), true), in("file/notes"));
  const std::string nul("d\0e", 3);
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", in(nul), true), in(nul + "/notes"));
  EXPECT_THAT(listing(work()), ElementsAre("file"));
  removeOne(in("file"));
}

TEST_F(ArchiveSubdir, InAFolderThatMayNotBeWrittenIsNamedAllTheSame) {
  OX_SKIP_AS_ROOT();
  ASSERT_EQ(::chmod(work().c_str(), 0500), 0);
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", work(), true), in("notes"));
  EXPECT_THAT(listing(work()), IsEmpty());
  ASSERT_EQ(::chmod(work().c_str(), 0700), 0);
}

TEST_F(ArchiveSubdir, OnAFullDiskIsNamedAllTheSame) {
  OX_SKIP_UNLESS_ROOT("only root may mount a small disk");
  // In a child process, so that the mount is visible only there and ends with it.
  constexpr int mountRefused = 77;
  const auto child = [this] {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", work().c_str(), "tmpfs", 0, "size=64k,nr_inodes=2") != 0) {
      return mountRefused;
    }
    const bool isFirstMade =
        OXSafelyCreateArchiveSubdir("first.zip", work(), true) == in("first") &&
        isFolder(in("first"));
    const bool isSecondNamed =
        OXSafelyCreateArchiveSubdir("second.zip", work(), true) == in("second") &&
        !exists(in("second"));
    return isFirstMade && isSecondNamed && listing(tmp()).empty() ? 0 : 1;
  };
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::_exit(child());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  if (WIFEXITED(status) && WEXITSTATUS(status) == mountRefused) {
    GTEST_SKIP() << "mounting is not allowed here";
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
