// SPDX-License-Identifier: MIT

#include <OrvexKit/OXFileUtil.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <string>

#include "folders/FreeName.h"
#include "support/AllocationCount.h"
#include "support/LogCapture.h"
#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class FoldersInner : public TemporaryFolderTest {};

TEST(NextCounter, IsASigned32BitNumber) {
  constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
  static_assert(ox::nextCounter(0) == 1);
  static_assert(ox::nextCounter(largest - 1) == largest);
  static_assert(ox::nextCounter(largest) == std::numeric_limits<std::int32_t>::min());
  static_assert(ox::nextCounter(-1) == 0);
}

TEST_F(FoldersInner, UniqueNameAsksOncePerName) {
  writeFile(in("x"));
  writeFile(in("x (1)"));
  const ObservedSystem system;
  EXPECT_EQ(OXSequentiallyUniqueName("x", work(), true), in("x (2)"));
  EXPECT_EQ(system.count(), 3);
  EXPECT_EQ(system.count(Call::fstatat), 3);
  removeOne(in("x"));
  removeOne(in("x (1)"));
}

TEST_F(FoldersInner, UniqueNameAsksForFewWhereManyAreTaken) {
  constexpr int takenCount = 300;
  const auto taken = [&](int counter) { return in("x (" + std::to_string(counter) + ").zip"); };
  writeFile(in("x.zip"));
  for (int i = 1; i <= takenCount; ++i) {
    writeFile(taken(i));
  }
  {
    const ObservedSystem system;
    EXPECT_EQ(OXSequentiallyUniqueName("x.zip", work(), false), taken(takenCount + 1));
    EXPECT_LT(system.count(), takenCount / 10);
  }
  removeOne(in("x.zip"));
  for (int i = 1; i <= takenCount; ++i) {
    removeOne(taken(i));
  }
}

TEST_F(FoldersInner, UniqueNameGoesOnWhereTheListingIsNotWhole) {
  std::vector<std::string> taken{"x"};
  for (int i = 1; i <= 60; ++i) {
    taken.push_back("x (" + std::to_string(i) + ")");
  }
  for (const std::string& item : taken) {
    writeFile(in(item));
  }
  for (const Call failing : {Call::openat, Call::getdents}) {
    ObservedSystem system;
    system.fail(failing, EIO);
    EXPECT_EQ(OXSequentiallyUniqueName("x", work(), true), in("x (61)"));
    EXPECT_EQ(system.count(failing), 1);
  }
  for (const std::string& item : taken) {
    removeOne(in(item));
  }
}

TEST_F(FoldersInner, TemporaryDirectoryWithoutMemoryIsLoggedAndNull) {
  takeLogLines();
  const ObservedSystem system;
  OXString path = "not null";
  {
    const AllocationFailure failure(0, 1);
    path = OXCreateTemporaryDirectoryInDir(work());
  }
  EXPECT_EQ(path, std::nullopt);
  EXPECT_THAT(takeLogLines(),
              ElementsAre(libraryLine("Could not allocate memory for generating temp dir name!")));
  EXPECT_EQ(system.count(), 0);
}

TEST_F(FoldersInner, UniqueTempDirWithoutMemoryIsTheTemporaryFolder) {
  takeLogLines();
  // Short enough for the small-string buffer.
  const ScopedEnvironment temporary("TMPDIR", "/missing");
  OXString path;
  {
    const AllocationFailure failure;
    path = OXCreateUniqueTempDir();
  }
  EXPECT_EQ(path, "/missing");
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST_F(FoldersInner, TemporaryDirectoryTakesOneAllocation) {
  const AllocationCount scratchAllocations;
  const OXString scratch = OXCreateTemporaryDirectoryInDir(work());
  EXPECT_EQ(scratchAllocations.count(), 1U);
  removeOne(*scratch);
}

TEST_F(FoldersInner, ArchiveSubdirThatIsRefusedDoesNotAskTheDisk) {
  const ObservedSystem system;
  for (const char* name : {"", ".", "..", "...zip", "..zip", "a/b.zip", "..app.zip"}) {
    EXPECT_EQ(OXSafelyCreateArchiveSubdir(name, work(), true), std::nullopt) << name;
  }
  EXPECT_EQ(system.count(), 0);
}

TEST_F(FoldersInner, ArchiveSubdirWithoutItsMoveIsNullAndLeavesTheScratchFolder) {
  ObservedSystem system;
  system.fail(Call::renameat2, EACCES);
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("Tool.app.zip", work(), true), std::nullopt);
  EXPECT_THAT(listing(work()), IsEmpty());
  const std::vector<std::string> left = listing(tmp());
  ASSERT_THAT(left, SizeIs(2));
  EXPECT_EQ(left[1], left[0] + "/Tool.app");
  removeOne(tmp() + "/" + left[1]);
  removeOne(tmp() + "/" + left[0]);
}

TEST_F(FoldersInner, ArchiveSubdirTakesTheNextNameWhenItComesTooLate) {
  ObservedSystem system;
  int calls = 0;
  system.before(Call::mkdirat, [&] {
    ++calls;
    if (calls == 1) {
      std::filesystem::create_directory(in("notes"));
    } else if (calls == 2) {
      std::filesystem::create_symlink("nowhere", in("notes (1)"));
    }
  });
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", work(), true), in("notes (2)"));
  EXPECT_THAT(listing(work()), ElementsAre("notes", "notes (1)", "notes (2)"));
  for (const char* name : {"notes", "notes (1)", "notes (2)"}) {
    removeOne(in(name));
  }
}

TEST_F(FoldersInner, ArchiveSubdirIgnoresThatItsTrialFolderCannotBeMade) {
  ObservedSystem system;
  system.fail(Call::mkdirat, ENOSPC, 1);
  EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.app.zip", work(), true), in("notes"));
  EXPECT_TRUE(isFolder(in("notes")));
  EXPECT_THAT(listing(tmp()), IsEmpty());
  removeOne(in("notes"));
}

TEST_F(FoldersInner, ArchiveSubdirIgnoresThatItsScratchFolderStays) {
  {
    ObservedSystem system;
    system.fail(Call::unlinkat, EBUSY);
    EXPECT_EQ(OXSafelyCreateArchiveSubdir("notes.zip", work(), true), in("notes"));
  }
  const std::vector<std::string> left = listing(tmp());
  ASSERT_THAT(left, SizeIs(2));
  removeOne(tmp() + "/" + left[1]);
  removeOne(tmp() + "/" + left[0]);
  removeOne(in("notes"));
}

}  // namespace
