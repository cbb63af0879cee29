// SPDX-License-Identifier: MIT

#include <OrvexKit/OXFileUtil.h>
#include <OrvexKit/OXScopedTempDir.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;
using testing::ElementsAre;
using testing::IsEmpty;

class ScopedTempDir : public TemporaryFolderTest {};

static_assert(!std::is_copy_constructible_v<OXScopedTempDir>);
static_assert(std::is_nothrow_destructible_v<OXScopedTempDir>);

TEST_F(ScopedTempDir, IsThereAsLongAsItsOwner) {
  std::string path;
  {
    const OXScopedTempDir folder;
    ASSERT_TRUE(folder.path());
    path = *folder.path();
    EXPECT_TRUE(path.starts_with(tmp() + "/.orvx.")) << path;
    EXPECT_TRUE(isFolder(path));
  }
  EXPECT_FALSE(exists(path));
}

TEST_F(ScopedTempDir, HasNoPathWhenItCannotBeMade) {
  takeLogLines();
  const ScopedEnvironment temporary("TMPDIR", in("missing"));
  const OXScopedTempDir folder;
  EXPECT_EQ(folder.path(), std::nullopt);
  EXPECT_EQ(OXScopedTempDir::path(OXReleaseScope::current()), std::nullopt);
  const LogLine line = libraryLine("mkstemp failed to generate a temp dir!");
  EXPECT_THAT(takeLogLines(), ElementsAre(line, line));
}

TEST_F(ScopedTempDir, TakesItsContentsAlong) {
  {
    const OXScopedTempDir folder;
    const std::string& path = *folder.path();
    std::filesystem::create_directories(path + "/a/b/c");
    writeFile(path + "/a/file", "x");
    writeFile(path + "/.hidden", "x");
    writeFile(path + "/a/b/\xff\xfe", "x");
    ASSERT_EQ(::mkfifo((path + "/a/fifo").c_str(), 0600), 0);
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, RemovesLinksAndNothingBehindThem) {
  writeFile(in("precious"), "x");
  std::filesystem::create_directory(in("folder"));
  writeFile(in("folder/precious"), "x");
  {
    const OXScopedTempDir folder;
    const std::string& path = *folder.path();
    std::filesystem::create_directory(path + "/sub");
    std::filesystem::create_symlink(in("precious"), path + "/file-link");
    std::filesystem::create_directory_symlink(in("folder"), path + "/folder-link");
    std::filesystem::create_directory_symlink(in("folder"), path + "/sub/folder-link");
    std::filesystem::create_symlink("nowhere", path + "/dangling");
    std::filesystem::create_symlink("self", path + "/self");
    std::filesystem::create_directory_symlink("..", path + "/sub/up");
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
  EXPECT_THAT(listing(work()), ElementsAre("folder", "folder/precious", "precious"));
  removeOne(in("folder/precious"));
  removeOne(in("folder"));
  removeOne(in("precious"));
}

TEST_F(ScopedTempDir, RemovesTheLinkThatTookItsPlace) {
  std::filesystem::create_directory(in("folder"));
  writeFile(in("folder/precious"), "x");
  {
    const OXScopedTempDir folder;
    removeOne(*folder.path());
    std::filesystem::create_directory_symlink(in("folder"), *folder.path());
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
  EXPECT_THAT(listing(work()), ElementsAre("folder", "folder/precious"));
  removeOne(in("folder/precious"));
  removeOne(in("folder"));
}

TEST_F(ScopedTempDir, RemovesTheFileThatTookItsPlace) {
  {
    const OXScopedTempDir folder;
    removeOne(*folder.path());
    writeFile(*folder.path(), "x");
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, MayHaveVanishedAlready) {
  const OXScopedTempDir folder;
  removeOne(*folder.path());
}

TEST_F(ScopedTempDir, RemovesFoldersThatMayNotBeWrittenReadOrEntered) {
  for (const mode_t mode : {0500U, 0400U, 0300U, 0200U, 0100U, 0000U}) {
    SCOPED_TRACE(mode);
    {
      const OXScopedTempDir folder;
      const std::string outer = *folder.path() + "/outer";
      std::filesystem::create_directories(outer + "/inner/innermost");
      writeFile(outer + "/inner/file", "x");
      writeFile(outer + "/file", "x");
      ASSERT_EQ(::chmod((outer + "/inner").c_str(), mode), 0);
      ASSERT_EQ(::chmod(outer.c_str(), mode), 0);
      ASSERT_EQ(::chmod(folder.path()->c_str(), mode), 0);
    }
    EXPECT_THAT(listing(tmp()), IsEmpty());
  }
}

// Makes nested folders, each with a file, far deeper than PATH_MAX.
void makeDeepFolder(const std::string& top, int depth) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(top);
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(::mkdir("deeper", 0700), 0);
    if (i % 50 == 0) {
      writeFile("file", "x");
    }
    ASSERT_EQ(::chdir("deeper"), 0);
  }
  std::filesystem::current_path(before);
}

TEST_F(ScopedTempDir, RemovesWhatIsTooDeepForAPath) {
  {
    const OXScopedTempDir folder;
    makeDeepFolder(*folder.path(), 3000);
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, RemovesDeepFoldersWithFewDescriptors) {
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  {
    const OXScopedTempDir folder;
    makeDeepFolder(*folder.path(), 200);
    struct rlimit few = before;
    few.rlim_cur = 32;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  }
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, RemovesDeepFoldersThatMayNotBeWritten) {
  {
    const OXScopedTempDir folder;
    std::string path = *folder.path();
    std::vector<std::string> chain;
    for (int i = 0; i < 60; ++i) {
      path += "/d";
      std::filesystem::create_directory(path);
      // The names that the removal itself would use first.
      std::filesystem::create_directories(*folder.path() + "/.deep.0/taken");
      chain.push_back(path);
    }
    for (auto innermost = chain.rbegin(); innermost != chain.rend(); ++innermost) {
      ASSERT_EQ(::chmod(innermost->c_str(), 0500), 0);
    }
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, RemovesWideFolders) {
  {
    const OXScopedTempDir folder;
    for (int i = 0; i < 5000; ++i) {
      writeFile(*folder.path() + "/a rather long name for a file number " + std::to_string(i));
    }
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, OfAScopeIsThereAsLongAsTheScope) {
  std::string outer;
  std::string inner;
  {
    const OXReleaseScope outerScope;
    outer = OXScopedTempDir::path(OXReleaseScope::current()).value();
    {
      const OXReleaseScope innerScope;
      inner = OXScopedTempDir::path(OXReleaseScope::current()).value();
      writeFile(inner + "/file", "x");
      EXPECT_TRUE(isFolder(inner));
    }
    EXPECT_FALSE(exists(inner));
    EXPECT_TRUE(isFolder(outer));
  }
  EXPECT_FALSE(exists(outer));
}

TEST_F(ScopedTempDir, IsNotRemovedByAForkedProcess) {
  const OXReleaseScope scope;
  const std::string ofScope = OXScopedTempDir::path(OXReleaseScope::current()).value();
  auto folder = std::make_unique<OXScopedTempDir>();
  const std::string path = folder->path().value();
  const pid_t child = ::fork();
  if (child == 0) {
    folder.reset();
    scope.~OXReleaseScope();
    ::_exit(0);
  }
  ASSERT_GT(child, 0);
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  EXPECT_TRUE(isFolder(path));
  EXPECT_TRUE(isFolder(ofScope));
}

TEST_F(ScopedTempDir, IsNotRemovedByAForkedProcessWhoseMemoryIsNotCleared) {
  const auto results =
      ox::test::linesOf({.program = OX_PROBE, .arguments = {"ignore-advice", "fork"}});
  if (results.at(0) == "0") {
    GTEST_SKIP() << "system calls cannot be filtered here";
  }
  EXPECT_EQ(results.at(1), "1");
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

// An emulator may ignore MADV_WIPEONFORK and report success.
bool isMemoryClearedOnFork() {
  const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  void* const memory =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  auto* const byte = static_cast<char*>(memory);
  ::madvise(memory, size, MADV_WIPEONFORK);
  *byte = 1;
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(*byte);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  ::munmap(memory, size);
  return status == 0;
}

// Like a worker in a container: the first process has the same number as each child that it forks
// into a new namespace.
TEST_F(ScopedTempDir, IsNotRemovedByAForkedProcessWithTheSameNumber) {
  if (!isMemoryClearedOnFork()) {
    GTEST_SKIP() << "nothing tells the two processes apart here";
  }
  constexpr int refused = 77;
  const auto firstProcess = [] {
    auto folder = std::make_unique<OXScopedTempDir>();
    const std::string path = folder->path().value();
    const pid_t self = ::getpid();
    if (::unshare(CLONE_NEWPID) != 0) {
      return refused;
    }
    const pid_t child = ::fork();
    if (child == 0) {
      folder.reset();
      // Removes what it made itself.
      const std::string own = OXScopedTempDir().path().value();
      ::_exit(::getpid() == self && !exists(own) ? 0 : 1);
    }
    int status = -1;
    const bool isDone = ::waitpid(child, &status, 0) == child && status == 0;
    const bool isKept = isFolder(path);
    folder.reset();
    return isDone && isKept && !exists(path) ? 0 : 1;
  };
  int status = -1;
  const pid_t outer = ::fork();
  if (outer == 0) {
    const bool mayHaveUsers = ::geteuid() == 0 || ::unshare(CLONE_NEWUSER) == 0;
    if (!mayHaveUsers || ::unshare(CLONE_NEWPID) != 0) {
      ::_exit(refused);
    }
    const pid_t first = ::fork();
    if (first == 0) {
      ::_exit(firstProcess());
    }
    ::waitpid(first, &status, 0);
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
  }
  ASSERT_EQ(::waitpid(outer, &status, 0), outer);
  if (WIFEXITED(status) && WEXITSTATUS(status) == refused) {
    GTEST_SKIP() << "PID namespaces cannot be created here";
  }
  EXPECT_EQ(status, 0);
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, IsRemovedByTheProcessThatMadeItThoughOthersWereForked) {
  for (int round = 0; round < 3; ++round) {
    const OXScopedTempDir folder;
    const pid_t child = ::fork();
    if (child == 0) {
      const std::string own = OXScopedTempDir().path().value();
      ::_exit(exists(own) ? 1 : 0);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(isFolder(folder.path().value()));
  }
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

TEST_F(ScopedTempDir, InARelativeTemporaryFolderStaysItsOwnWhenTheCurrentFolderChanges) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::create_directories(in("here/tmp"));
  std::filesystem::create_directories(in("there/tmp"));
  std::filesystem::current_path(in("here"));
  const ScopedEnvironment temporary("TMPDIR", "tmp");
  std::string precious;
  {
    const OXScopedTempDir folder;
    const std::string path = folder.path().value();
    EXPECT_TRUE(path.starts_with(in("here/tmp/.orvx."))) << path;
    EXPECT_TRUE(isFolder(path));
    std::filesystem::current_path(in("there"));
    precious = in("there/tmp/") + std::filesystem::path(path).filename().string();
    std::filesystem::create_directory(precious);
    writeFile(precious + "/file");
  }
  EXPECT_TRUE(exists(precious + "/file")) << "another folder with the same relative path";
  EXPECT_THAT(listing(in("here")), ElementsAre("tmp"));
  std::filesystem::current_path(before);
  removeTree(in("here"));
  removeTree(in("there"));
}

TEST_F(ScopedTempDir, OfAnOuterScopeOutlivesTheInnerOne) {
  OXReleaseScope outerScope;
  std::string path;
  {
    const OXReleaseScope innerScope;
    path = OXScopedTempDir::path(outerScope).value();
  }
  EXPECT_TRUE(isFolder(path));
}

TEST_F(ScopedTempDir, WithoutAScopeIsThereAsLongAsTheThread) {
  std::string path;
  bool wasThere = false;
  std::thread([&] {
    path = OXScopedTempDir::path(OXReleaseScope::current()).value();
    wasThere = isFolder(path);
  }).join();
  EXPECT_TRUE(wasThere);
  EXPECT_FALSE(exists(path));
}

TEST_F(ScopedTempDir, WithoutAScopeOnTheMainThreadIsGoneAtTheEndOfTheProcess) {
  EXPECT_EXIT(
      {
        const std::string path = OXScopedTempDir::path(OXReleaseScope::current()).value();
        std::exit(isFolder(path) ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_THAT(listing(tmp()), IsEmpty());
}

}  // namespace
